#pragma once

#include "tests/matrix/Judge.h"

#include <functional>
#include <string>
#include <vector>

namespace matrix {

/// What a player is known to do otherwise in some sources, and how it is judged there. Whatever else is not right
/// fails.
struct Difference {
  std::string player;                ///< its name in the table; empty: every player
  std::vector<std::string> sources;  ///< names of recordings, or how they end (".mkv"); empty: every recording
  std::vector<std::function<void(Exactness&)>> allowed;
  std::string reason;
};

/// All of them: the one place where anything is allowed. Of several that hold the most generous does.
const std::vector<Difference>& differences();

/// How a player is judged in a source.
Exactness exactnessOf(const std::string& player, const std::string& source);

}  // namespace matrix
