#pragma once

#include "platform/backends/ffmpeg/FilterLibrary.h"
#include "platform/backends/ffmpeg/MovieInput.h"

/// A graph of libavfilter with inputs "in0", "in1", ... and one output "out". One thread at a time.
class FilterGraph {
 public:
  FilterGraph() = default;
  FilterGraph(const FilterGraph&) = delete;
  ~FilterGraph();

  /// `sources`: the arguments of the inputs' buffers. Returns an AVERROR, as all that follow do; this one is
  /// AVERROR_FILTER_NOT_FOUND without libavfilter.
  int open(bool sound, const std::vector<std::string>& sources, const std::string& filters);
  /// Takes over what the frame refers to; null ends the input.
  int push(std::size_t input, AVFrame* frame);
  /// AVERROR(EAGAIN) when more is needed, AVERROR_EOF after the end.
  int pull(AVFrame* frame);
  /// Sound then comes out in frames of this many samples, but for the last one. After `open`.
  void setFrameSize(unsigned samples);

 private:
  const FilterLibrary* library_ = nullptr;
  AVFilterGraph* graph_ = nullptr;
  std::vector<AVFilterContext*> sources_;
  AVFilterContext* sink_ = nullptr;
};
