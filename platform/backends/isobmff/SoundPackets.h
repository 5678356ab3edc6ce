#pragma once

#include "platform/backends/isobmff/Movie.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace isobmff {

/// The packets in which libavformat reads a track of sound: its samples; of samples that are a single moment each (PCM
/// and what QuickTime counts alike) up to 1024 moments, counted from where the chunk begins. Times are ticks of the
/// media, of presentation. Sound that is presented later than it is decoded (rare) is so all along.
class SoundPackets {
 public:
  /// Keeps a reference to `runs`.
  explicit SoundPackets(const std::vector<SampleRun>& runs)
      : runs_(runs), delay_(runs.empty() ? 0 : runs.front().compositionOffset) {}

  struct Packet {
    std::int64_t begin = 0, end = 0;
  };
  /// The packet in which a moment lies; none before the first and behind the last.
  std::optional<Packet> at(std::int64_t time) const;
  /// The first packet that begins then or later.
  std::optional<Packet> from(std::int64_t time) const;

 private:
  const std::vector<SampleRun>& runs_;
  std::int64_t delay_;
};

}  // namespace isobmff
