#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/CoreGraphics/CGImage.h"
#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSError.h"
#include "platform/backends/ffmpeg/MovieInput.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

struct SwsContext;

/// Decodes single pictures of one movie: a file and a decoder opened once, one thread. Not for use by two threads at
/// the same time.
class ThumbnailDecoder {
 public:
  /// Null and `error` when the movie or its decoder can't be opened, or there are no moving pictures. Work ends early
  /// once `cancelled` (which must outlive the decoder) is true.
  static std::unique_ptr<ThumbnailDecoder> open(const std::string& path, const std::string& displayName,
                                                const std::atomic<bool>& cancelled, NSErrorPtr* error);
  ~ThumbnailDecoder();

  struct Picture {
    CGImageRef image;
    CMTime time = kCMTimeInvalid;  ///< of the frame shown, in the player's times
  };

  /// The picture of the key frame at or before `time` when `exact` is false; else (and when that key frame is hidden
  /// by an edit list) the frame on screen at `time`. No image and `error` on failure. `maximumSize` as in
  /// AVAssetImageGenerator. Of large pictures always a key frame, the next one where the one before is hidden.
  Picture picture(CMTime time, bool exact, CGSize maximumSize, NSErrorPtr* error);

  /// Of one picture.
  std::int64_t pixels() const;
  /// Seconds between the two key frames around `time`; two when the file does not say.
  double keyInterval(CMTime time);
  /// Which key frame `time` depends on, counted from the file's start; -1 when the file does not say.
  std::int64_t keyIndex(CMTime time);

 private:
  ThumbnailDecoder() = default;
  bool isLarge() const;
  std::int64_t streamTime(CMTime time) const;
  std::int64_t keyTimeAtOrBefore(std::int64_t time);
  Frame decodeKeyFrame(std::int64_t time);
  Frame decodeExact(std::int64_t time);
  bool seekBefore(std::int64_t time);
  Frame nextFrame();
  CGImageRef render(const AVFrame& frame, CGSize maximumSize);

  std::string displayName_;
  const std::atomic<bool>* cancelled_ = nullptr;
  std::unique_ptr<MovieInput> input_;
  Codec codec_;
  Packet packet_;
  SwsContext* scaler_ = nullptr;
  // Where a run of exact decoding stands: the newest frame at or before the last target, and the one after it.
  Frame current_, following_;
  std::int64_t firstTime_ = AV_NOPTS_VALUE;  // of the key frame that the run began with
  bool running_ = false;
  bool atEnd_ = false;
};
