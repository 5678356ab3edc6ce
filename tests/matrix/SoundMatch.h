#pragma once

#include "tests/matrix/Reading.h"

#include <optional>

namespace matrix {

struct SoundMatch {
  int lag = 0;       ///< samples that the copy sounds late (negative: early)
  double error = 0;  ///< what is different there, as a part of the source's power
};

/// Finds how far a copy's sound lies from its source's: the copy's time 0 is the source's time `offset`. Looks
/// `reach` seconds both ways, in what the copy sounds from `skip` to `length` seconds. Nothing when that is too little.
std::optional<SoundMatch> matchSound(const Sound& source, const Sound& copy, double offset, double length, double reach,
                                     double skip = 0);

}  // namespace matrix
