#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include "platform/Foundation/NSError.h"
#include "platform/backends/ffmpeg/FileReader.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct PacketDeleter {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using Packet = std::unique_ptr<AVPacket, PacketDeleter>;

struct FrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using Frame = std::unique_ptr<AVFrame, FrameDeleter>;

struct CodecDeleter {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
using Codec = std::unique_ptr<AVCodecContext, CodecDeleter>;

/// A movie file opened for reading, with its edit lists applied: times are those that the player shows, counted from
/// `startTime`. One thread at a time.
class MovieInput {
 public:
  /// Null and `error` (domain AVFoundationErrorDomain or NSPOSIXErrorDomain, naming the file by `displayName`) when the
  /// file can't be read as a movie. Reading ends early, with AVERROR_EXIT, as soon as `isCancelled` says so.
  static std::unique_ptr<MovieInput> open(const std::string& path, const std::string& displayName, NSErrorPtr* error,
                                          std::function<bool()> isCancelled = nullptr);
  /// The same for a file that is open already, and may still be in the making; it must outlive the result.
  static std::unique_ptr<MovieInput> open(GrowingFile& file, const std::string& displayName, NSErrorPtr* error,
                                          std::function<bool()> isCancelled = nullptr);
  ~MovieInput();

  AVFormatContext* format() const { return format_; }
  /// The first stream of moving pictures; null when there is none.
  AVStream* video() const { return video_; }
  /// The container's time that the player shows as zero, in ticks of `stream`.
  std::int64_t startTime(const AVStream* stream) const;
  /// The container's time of the first picture or sound that the player plays, in ticks of `stream`. Later than
  /// `startTime` in a recording that begins with nothing.
  std::int64_t firstTime(const AVStream* stream) const;
  /// The end of the longest stream in the player's times, in microseconds. Where the file does not say it (what was not
  /// finished, and what browsers record), the file is read for it once.
  std::int64_t duration() const { return duration_; }

  /// Index times (decode order) of the video's key frames, ascending; empty when the file has no index.
  const std::vector<std::int64_t>& keyTimes();
  /// Finds out what headers may leave open, as how pictures are stored, by looking into the first packets; before the
  /// first of them is read.
  void learnFormats();
  /// Moves to the last key frame of `stream` at or before `time` (its ticks, container's times), or to the file's
  /// beginning. Returns an AVERROR.
  int seek(AVStream* stream, std::int64_t time);

 private:
  MovieInput() = default;
  static std::unique_ptr<MovieInput> open(std::unique_ptr<FileReader> reader, const std::string& path,
                                          const std::string& displayName, NSErrorPtr* error,
                                          std::function<bool()> isCancelled);
  std::int64_t findEnd();

  std::unique_ptr<FileReader> reader_;  // of a file that was open already
  AVFormatContext* format_ = nullptr;
  AVStream* video_ = nullptr;
  std::int64_t startTime_ = 0;  // microseconds
  std::int64_t firstTime_ = 0;  // microseconds
  std::int64_t duration_ = 0;   // microseconds
  std::vector<std::int64_t> keyTimes_;
  bool keyTimesKnown_ = false, formatsKnown_ = false;
  std::function<bool()> isCancelled_;
};

/// Whether a stream is a still cover picture.
bool isCoverPicture(const AVStream* stream);

/// The display matrix of a stream (nine numbers as in libavutil/display.h); null for none.
const std::int32_t* displayMatrix(const AVStream* stream);

/// The text of libav's own error codes.
std::string avErrorText(int averror);
