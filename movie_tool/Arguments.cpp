#include "movie_tool/Arguments.h"

#include "movie_tool/Message.h"

#include <unistd.h>
#include <algorithm>

using message::quoted;

bool Arguments::read(int argc, char* argv[], const std::function<bool(int, const std::string&)>& handle,
                     std::string& problem) {
  // The minus: words that are no options come as option 1, in order; nothing is moved about, so that the word that a
  // mistake is about is the one at `optind`. The colon tells a missing value from an unknown option.
  const std::string letters = std::string("-:") + letters_;
  optind = 0;
  opterr = 0;
  for (int at = 1;; at = optind) {
    const int found = getopt_long(argc, argv, letters.c_str(), options_, nullptr);
    if (found == -1) break;
    const std::string word = argv[std::max(at, 1)];
    if (found == 1) {
      words_.emplace_back(optarg);
    } else if (found == ':') {
      problem = "the option " + quoted(word) + " takes a value";
      return false;
    } else if (found == '?') {
      const bool known = word.find('=') != std::string::npos && optopt > 0;
      problem = known ? "the option " + quoted(word) + " takes no value" : "unknown option " + quoted(word);
      // Perhaps it was meant as a file.
      if (!known && (word[1] != '-' || access(word.c_str(), F_OK) == 0))
        problem += "; put -- before a movie of that name, or write ./" + word;
      return false;
    } else if (!handle(found, optarg ? optarg : "")) {
      return false;
    }
  }
  words_.insert(words_.end(), argv + optind, argv + argc);
  return true;
}

std::string Arguments::movie(std::string& problem) const {
  if (words_.empty() || words_[0].empty()) problem = "no movie given";
  if (words_.size() > 1) problem = "one movie at a time: " + quoted(words_[1]) + " is too many";
  return problem.empty() ? words_[0] : "";
}
