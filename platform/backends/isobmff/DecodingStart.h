#pragma once

#include "platform/backends/isobmff/Movie.h"

#include <cstdint>
#include <vector>

namespace isobmff {

/// Finds out from which pictures decoding can start, by a look at their first bytes. H.264 and HEVC mark as key
/// pictures also those after which the picture only becomes whole little by little (gradual refresh).
class DecodingStart {
 public:
  DecodingStart(const Movie& movie, std::size_t track, int descriptor);

  /// How many samples after this one, in decode order, have to be decoded before the picture is whole: 0 for an
  /// ordinary key picture and wherever the bytes can't be understood.
  std::uint32_t samplesUntilWhole(const SampleRun& sample) const;

 private:
  enum class Coding { Other, H264, HEVC };
  struct Description {
    Coding coding = Coding::Other;
    std::uint32_t lengthSize = 4;  ///< bytes of the length before each unit
  };

  std::uint32_t recoveryCount(const SampleRun& sample, const Description& description) const;

  int descriptor_;
  std::vector<Description> descriptions_;  ///< as in stsd
};

}  // namespace isobmff
