#pragma once

#include "platform/backends/ffmpeg/FilterGraph.h"

/// Brings pictures of any kind to what H.264 players show everywhere: 8 bits, 4:2:0, even sizes, the usual dynamic
/// range. Those that are so already pass untouched. All get the size of the first. One thread at a time.
class PictureConverter {
 public:
  explicit PictureConverter(AVRational timeBase) : timeBase_(timeBase) {}
  /// Replaces the picture by the converted one. Returns an AVERROR.
  int convert(Frame& picture);

 private:
  bool isLikeLast(const AVFrame& picture) const;
  std::string filtersFor(const AVFrame& picture) const;
  int prepare(const AVFrame& picture);

  AVRational timeBase_;
  Frame last_;  // properties of what the graph is made for
  std::unique_ptr<FilterGraph> graph_;
  int width_ = 0, height_ = 0;  // of the first picture, as converted
};
