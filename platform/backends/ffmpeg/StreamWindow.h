#pragma once

#include "platform/backends/ffmpeg/MovieInput.h"

#include <functional>
#include <vector>

/// The packets at one end of a stream of a movie file with an index, found without reading what lies between.
struct StreamWindow {
  std::vector<Packet> packets;  ///< in decode order
  std::size_t shown = 0;        ///< which of them is shown first or last; only when `found`
  int firstEntry = 0;           ///< the place of the first packet in the stream's index
  bool found = false;

  const AVPacket& shownPacket() const { return *packets[shown]; }

  /// The packet with the earliest time among those that are shown, and up to `lead` packets in front of it.
  static StreamWindow first(AVFormatContext* format, AVStream* stream, std::size_t lead);
  /// The packet with the latest time among those that are shown, `lead` packets in front of it, and what comes behind.
  static StreamWindow last(AVFormatContext* format, AVStream* stream, std::size_t lead);
  /// The last key frame at or before `entry` of the stream's index, alone.
  static StreamWindow key(AVFormatContext* format, AVStream* stream, int entry);
};
