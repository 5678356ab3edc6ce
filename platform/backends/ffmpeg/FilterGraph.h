#pragma once

#include "platform/backends/ffmpeg/MovieInput.h"

extern "C" {
#include <libavfilter/avfilter.h>
}

/// A graph of libavfilter with inputs "in0", "in1", ... and one output "out". One thread at a time.
class FilterGraph {
 public:
  FilterGraph() = default;
  FilterGraph(const FilterGraph&) = delete;
  ~FilterGraph() { avfilter_graph_free(&graph_); }

  /// `sources`: the arguments of the inputs' buffers. Returns an AVERROR, as all that follow do.
  int open(bool sound, const std::vector<std::string>& sources, const std::string& filters);
  /// Takes over what the frame refers to; null ends the input.
  int push(std::size_t input, AVFrame* frame);
  /// AVERROR(EAGAIN) when more is needed, AVERROR_EOF after the end.
  int pull(AVFrame* frame);
  AVFilterContext* sink() const { return sink_; }

 private:
  AVFilterGraph* graph_ = nullptr;
  std::vector<AVFilterContext*> sources_;
  AVFilterContext* sink_ = nullptr;
};
