#pragma once

#include "platform/backends/isobmff/BoxParser.h"

#include <cstdint>
#include <optional>

namespace isobmff {

/// The fields of an entry of stsd that describes sound, in any of QuickTime's versions.
struct SoundDescription {
  FourCC format = 0;
  int version = 0;
  double sampleRate = 0;
  std::uint32_t channels = 0;
  /// What the samples really are when the tables count single frames ("one byte each"), as QuickTime's do for sound of
  /// constant rate: so many bytes for so many frames. 0 where the description does not tell.
  std::uint32_t packetBytes = 0;
  std::uint32_t packetFrames = 0;
  bool uncompressed = false;  ///< a packet is one frame of PCM (or its logarithmic forms)

  /// `quickTime`: the file is one, where versions mean QuickTime's. None when the entry is too short.
  static std::optional<SoundDescription> read(const BoxView& entry, bool quickTime);
};

}  // namespace isobmff
