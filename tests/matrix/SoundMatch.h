#pragma once

#include "tests/matrix/Reading.h"

#include <string>

namespace matrix {

struct SoundMatch {
  int lag = 0;            ///< samples that the copy sounds late (negative: early)
  double error = 0;       ///< what is different there, as a part of the source's power
  double firstError = 0;  ///< the same of the first 20 ms
  std::string reason;     ///< why they can't be compared; empty when they were
};

/// Finds how far a copy's sound lies from its source's: the copy's time 0 is the source's time `offset`. Looks
/// `reach` seconds both ways, in what the copy sounds from `skip` to `length` seconds.
SoundMatch matchSound(const Sound& source, const Sound& copy, double offset, double length, double reach,
                      double skip = 0);

}  // namespace matrix
