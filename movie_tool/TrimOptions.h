#pragma once

#include "platform/CoreMedia/CMTime.h"

#include <optional>
#include <string>

/// What a person asked `zevanti trim` for.
struct TrimOptions {
  std::string movie;               ///< as given
  std::string output;              ///< as given; empty for the name that follows from the movie's
  std::optional<CMTime> from, to;  ///< one of them is there; at least a millisecond apart, in this order
  bool force = false;
  bool help = false;  ///< then nothing else counts

  static const char* const usageLine;
  static const char* const helpText;

  /// Reads the command line; `argv[0]` is the command. False, with a line in `problem`, on a mistake.
  bool read(int argc, char* argv[], std::string& problem);

 private:
  bool set(int option, const std::string& value, std::string& problem);
};
