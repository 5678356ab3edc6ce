#pragma once

#include "tests/matrix/Judge.h"

#include <string>
#include <vector>

namespace matrix {

/// What a player is known to do otherwise in some sources, and how it is judged there. Whatever else is not right
/// fails.
struct Difference {
  std::string player;                ///< its name in the table; empty: every player
  std::vector<std::string> sources;  ///< names of recordings, or how they end (".mkv"); empty: every recording
  void (*allow)(Exactness&);
  std::string reason;
};

/// All of them: the one place where anything is allowed. Later ones add to earlier ones.
const std::vector<Difference>& differences();

/// Those that hold for a player in a source.
std::vector<const Difference*> differencesOf(const std::string& player, const std::string& source);

/// How a player is judged in a source.
Exactness exactnessOf(const std::string& player, const std::string& source);

}  // namespace matrix
