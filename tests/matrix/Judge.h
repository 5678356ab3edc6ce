#pragma once

#include "tests/matrix/Truth.h"

#include <string>
#include <vector>

namespace matrix {

/// How exactly a player that honours edit lists can be asked.
struct Exactness {
  double pictureTime = 0.001;   ///< seconds that a picture's time may be off, besides the source's own tick
  double duration = 0.001;      ///< seconds that the told length may be off
  double soundStart = 0;        ///< seconds that the first sample may be off, besides a sample
  int soundLag = 0;             ///< samples that the sound may be off against its times
  double soundMissing = 0.001;  ///< seconds of sound that may be missing at the end
  bool allSounds = true;        ///< false: the player plays the first sound track only
  bool fromPicture = false;     ///< the player begins with the first picture, whatever sounds before it
};

/// Whether the source's first sound track sounds in the range.
bool isAudible(const Truth& truth, const Range& range);

/// A player that honours edit lists: exactly the pictures of the range, each at its time; the right length; the sound
/// from the exact sample on, to the end. Each complaint tells what was expected and what was seen; none means right.
std::vector<std::string> judgeExact(const Truth& truth, const Range& range, const Reading& reading,
                                    const Exactness& exactness);

/// A player that ignores them: at any moment the right picture or one within two of it, nothing black, no sound or
/// picture that is missing, sound and picture together.
std::vector<std::string> judgeTolerant(const Truth& truth, const Range& range, const Reading& reading);

}  // namespace matrix
