#pragma once

#include <getopt.h>
#include <functional>
#include <string>
#include <vector>

/// Reads a command's options with getopt_long, in any order with the movie, and tells mistakes in words.
class Arguments {
 public:
  /// `options` ends in an entry of zeros and gives each a number above 0; `letters` are the short ones, as getopt has
  /// them.
  Arguments(const option* options, const char* letters) : options_(options), letters_(letters) {}

  /// `handle` gets each option's number and value (empty for none) and returns whether to go on. `argv[0]` is the
  /// command. False, with `problem` set, on a mistake; also when `handle` said stop.
  bool read(int argc, char* argv[], const std::function<bool(int, const std::string&)>& handle, std::string& problem);

  /// The one word that is no option; empty and `problem` when there are none or several.
  std::string movie(std::string& problem) const;

 private:
  const option* options_;
  const char* letters_;
  std::vector<std::string> words_;
};
