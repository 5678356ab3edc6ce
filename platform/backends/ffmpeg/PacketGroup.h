#pragma once

#include "platform/backends/ffmpeg/MovieInput.h"

#include <memory>
#include <vector>

struct CodecParametersDeleter {
  void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};

/// The packets from one key frame on, in decode order, with everything that decoding them takes. Not changed once it
/// is shared.
struct PacketGroup {
  std::vector<Packet> packets;
  std::size_t bytes = 0;
  std::shared_ptr<const AVCodecParameters> codec;
  AVRational timeBase{0, 1};
  double startTime = 0;  ///< the container's time that the player shows as zero, seconds

  /// The player's time, seconds.
  double seconds(std::int64_t timestamp) const { return static_cast<double>(timestamp) * av_q2d(timeBase) - startTime; }
};
