#pragma once

#include "platform/backends/isobmff/Movie.h"

#include <cstdint>

namespace isobmff {

/// What a cut has to know about the coding of a sound track.
struct SoundFormat {
  std::uint32_t rate = 0;            ///< samples a second; 0 when the file does not say
  std::uint32_t prerollPackets = 0;  ///< packets that a decoder has to go through before one that shall sound right
  double prerollSeconds = 0;         ///< the same as a length; the longer of the two counts
  /// Bytes of sound that a packet may have lent to the packets after it (MPEG-1 layer 3): the decoder needs the packet
  /// before the one that shall sound right, and before that packet so many bytes, less `packetOverhead` of each.
  std::uint32_t lentBytes = 0;
  std::uint32_t packetOverhead = 0;
  /// Players hear nothing of a packet in which an edit begins, and forget how long the rest of it lasts (Vorbis): an
  /// edit has to begin with a packet.
  bool wholePackets = false;
};

/// From the sample descriptions and sample groups ("roll", "prol") of the track with that index.
SoundFormat soundFormat(const Movie& movie, std::size_t track);

}  // namespace isobmff
