#pragma once

#include <string>
#include <vector>

namespace matrix {

struct Picture {
  int number = -1;  ///< the number drawn into it; -1 when unreadable
  double time = 0;  ///< when it is shown, in seconds
  bool key = false;
};

/// One sound track as it was heard: a stretch without gaps.
struct Sound {
  int rate = 0;
  double start = 0;  ///< of the first sample, in seconds
  std::vector<float> samples;

  double end() const { return start + (rate ? double(samples.size()) / rate : 0); }
};

/// What a player made of a file, in its own times.
struct Reading {
  std::string error;  ///< empty when the file could be played
  std::vector<Picture> pictures;
  std::vector<Sound> sounds;
  double start = 0;     ///< when the file begins: what a player shows as zero
  double end = 0;       ///< when its last track ends
  double duration = 0;  ///< of the file as the player tells it
  double tick = 0;      ///< the unit of the picture track's times, in seconds; 0 when unknown
};

}  // namespace matrix
