#pragma once

#include "platform/backends/ffmpeg/MovieInput.h"

/// Looks for the first picture that is shown whole when decoding starts at a key picture. With gradual refresh that is
/// not the key picture itself, and only one behind the next key picture: decoders leave out what refers to pictures
/// before the beginning. One thread at a time.
class FirstWholePicture {
 public:
  explicit FirstWholePicture(const AVStream* stream);

  /// Takes the stream's next packet, and says whether the picture is known now. Packets in front of the first key
  /// picture don't count.
  bool take(const AVPacket& packet);

  /// Its presentation time in the stream's ticks, once `take` has said so.
  std::int64_t time() const { return time_; }

 private:
  Codec decoder_;  // null: the key picture is taken for whole
  bool begun_ = false, gradual_ = false;
  std::int64_t keyTime_ = AV_NOPTS_VALUE, time_ = AV_NOPTS_VALUE;
};
