#pragma once

#include "platform/backends/ffmpeg/MovieOutput.h"

/// A track that goes into another movie as it is.
class CopiedTrack {
 public:
  /// Both must outlive the result.
  CopiedTrack(AVStream* source, std::int64_t startTime, MovieOutput& output)
      : source_(source), startTime_(startTime), output_(output), stream_(output.addStream()) {}

  /// AVERRORs here and below.
  int open();
  int take(AVPacket& packet);

 private:
  AVStream* source_;
  std::int64_t startTime_;
  MovieOutput& output_;
  AVStream* stream_;
};
