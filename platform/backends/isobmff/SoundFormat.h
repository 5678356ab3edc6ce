#pragma once

#include "platform/backends/isobmff/Movie.h"

#include <cstdint>

namespace isobmff {

/// What a cut has to know about the coding of a sound track.
struct SoundFormat {
  std::uint32_t rate = 0;            ///< samples a second; 0 when the file does not say
  std::uint32_t prerollPackets = 0;  ///< packets that a decoder has to go through before one that shall sound right
  double prerollSeconds = 0;         ///< the same as a length; the longer of the two counts
};

/// From the sample descriptions and sample groups ("roll", "prol") of the track with that index.
SoundFormat soundFormat(const Movie& movie, std::size_t track);

}  // namespace isobmff
