#pragma once

#include "tests/matrix/Truth.h"

#include <string>
#include <vector>

namespace matrix {

/// How exactly a player can be asked.
struct Exactness {
  bool tolerant = false;  ///< it ignores edit lists

  double pictureTime = 0.001;   ///< seconds that a picture's time may be off, besides the source's own tick
  double duration = 0.001;      ///< seconds that the told length may be off
  double soundStart = 0;        ///< seconds that the first sample may be off, besides a sample
  int soundLag = 0;             ///< samples that the sound may be off against its times
  double soundFirst = 0.05;     ///< what may be different in the first 20 ms, as a part of the sound's power
  double soundApart = 0.1;      ///< seconds that it may be off where edit lists are ignored; two pictures always
  double soundMissing = 0.001;  ///< seconds of sound that may be missing at the end
  bool onlyFirstSound = false;  ///< the player plays the first sound track only
  bool fromPicture = false;     ///< the player begins with the first picture, whatever sounds before it
  int pictures = 0;             ///< pictures that it may be off where it is asked at a moment
  double shortest = 0;          ///< pictures that a range must be longer than to be judged
  bool soundAtOnce = false;     ///< it begins a sound track with the first sample, whenever that is due
  double seam = 0;              ///< in the source's times: the sound on either side of it is judged by itself
  double lastSeam = 0;          ///< in the source's times: a range across it is not judged
  bool fromFirst = false;       ///< it counts from the first picture or sound: a range before any is not judged
  bool asSource = false;        ///< it may show a wrong picture where it shows the same one of the source
  bool mayRefuse = false;       ///< it may fail to play what it can't play of the source, either
  bool isStrict = false;        ///< it may fail at what its decoder does not accept, wherever it met that in the source
};

/// What a judge has to say of one range in one player; nothing means right.
struct Verdict {
  std::vector<std::string> complaints;   ///< each tells what was expected and what was seen
  std::vector<std::string> notCompared;  ///< what could not be held against the source, and why

  bool operator==(const Verdict&) const = default;
};

/// Whether the source's first sound track sounds in the range.
bool isAudible(const Truth& truth, const Range& range);

/// A player that honours edit lists: exactly the pictures of the range, each at its time; the right length; the sound
/// from the exact sample on, to the end.
Verdict judgeExact(const Truth& truth, const Range& range, const Reading& reading, const Exactness& exactness);

/// A player that ignores them: at any moment the right picture or one within two of it, nothing black, no sound or
/// picture that is missing, sound and picture together.
Verdict judgeTolerant(const Truth& truth, const Range& range, const Reading& reading, const Exactness& exactness);

/// One or the other, as `exactness` says.
Verdict judge(const Truth& truth, const Range& range, const Reading& reading, const Exactness& exactness);

}  // namespace matrix
