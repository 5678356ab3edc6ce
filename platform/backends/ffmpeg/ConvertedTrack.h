#pragma once

#include "platform/backends/ffmpeg/MovieInput.h"

#include <optional>

/// One track of a movie on its way into an MP4 file that libavformat writes.
class ConvertedTrack {
 public:
  /// Whether a stream is text that can be rewritten as MP4 has it.
  static bool isText(const AVStream* stream);
  /// Adds a stream to the file for all of `source`'s packets. Null when memory is short.
  static std::unique_ptr<ConvertedTrack> add(AVFormatContext* output, AVStream* source);

  AVStream* source() const { return in_; }
  bool isText() const { return in_->codecpar->codec_type == AVMEDIA_TYPE_SUBTITLE; }
  /// Ticks a second that the written track will have.
  int scale() const;

  /// Writes a packet of the source, whose times from now on count from `origin`, a whole second of the container's
  /// times. Returns an AVERROR.
  int take(AVPacket& packet, std::int64_t origin);
  /// Writes what is held back until decode times are known. Returns an AVERROR.
  int finish(std::int64_t origin);

  /// The decode time of the latest packet, in the source's ticks.
  std::optional<std::int64_t> latestTime() const { return latestTime_; }
  /// Whether anything has been written.
  bool hasBegun() const { return lastWritten_ != AV_NOPTS_VALUE; }

 private:
  ConvertedTrack() = default;
  bool prepareText();
  int write(AVPacket& packet, std::int64_t origin);
  int writeText(AVPacket& packet, std::int64_t origin);
  int send(AVPacket& packet);
  void smooth(AVPacket& packet, std::int64_t samples);
  std::int64_t usualDuration() const;

  AVFormatContext* output_ = nullptr;
  AVStream* in_ = nullptr;
  AVStream* out_ = nullptr;
  Codec textDecoder_, textEncoder_;

  std::optional<std::int64_t> latestTime_;
  std::optional<std::int64_t> firstPicture_;      // presentation time in the source
  std::vector<Packet> undated_;                   // first packets whose decode times are not known yet
  std::int64_t lastDecodeTime_ = AV_NOPTS_VALUE;  // in the source
  std::int64_t lastWritten_ = AV_NOPTS_VALUE;     // decode time in the output
  std::int64_t nextSound_ = AV_NOPTS_VALUE;       // where the sound written so far ends, in the output
};
