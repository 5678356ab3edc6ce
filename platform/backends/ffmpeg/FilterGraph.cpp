#include "platform/backends/ffmpeg/FilterGraph.h"

#include <cerrno>

FilterGraph::~FilterGraph() {
  if (library_) library_->avfilter_graph_free(&graph_);
}

int FilterGraph::open(bool sound, const std::vector<std::string>& sources, const std::string& filters) {
  library_ = FilterLibrary::shared();
  if (!library_) return AVERROR_FILTER_NOT_FOUND;
  graph_ = library_->avfilter_graph_alloc();
  if (!graph_) return AVERROR(ENOMEM);
  graph_->nb_threads = sound ? 1 : 0;  // 0: as many as there are cores
  int result = library_->avfilter_graph_create_filter(
      &sink_, library_->avfilter_get_by_name(sound ? "abuffersink" : "buffersink"), "out", nullptr, nullptr, graph_);
  AVFilterInOut* outputs = nullptr;  // of the sources, which are the described filters' inputs
  for (std::size_t i = 0; i < sources.size() && result >= 0; ++i) {
    const std::string name = "in" + std::to_string(i);
    AVFilterContext* source = nullptr;
    result =
        library_->avfilter_graph_create_filter(&source, library_->avfilter_get_by_name(sound ? "abuffer" : "buffer"),
                                               name.c_str(), sources[i].c_str(), nullptr, graph_);
    AVFilterInOut* pad = result < 0 ? nullptr : library_->avfilter_inout_alloc();
    if (!pad) break;
    *pad = {av_strdup(name.c_str()), source, 0, outputs};
    outputs = pad;
    sources_.push_back(source);
  }
  AVFilterInOut* inputs = library_->avfilter_inout_alloc();
  if (inputs) *inputs = {av_strdup("out"), sink_, 0, nullptr};
  if (result >= 0 && (!inputs || sources_.size() != sources.size())) result = AVERROR(ENOMEM);
  if (result >= 0) result = library_->avfilter_graph_parse_ptr(graph_, filters.c_str(), &inputs, &outputs, nullptr);
  library_->avfilter_inout_free(&inputs);
  library_->avfilter_inout_free(&outputs);
  return result < 0 ? result : library_->avfilter_graph_config(graph_, nullptr);
}

int FilterGraph::push(std::size_t input, AVFrame* frame) {
  return library_->av_buffersrc_add_frame(sources_[input], frame);
}

int FilterGraph::pull(AVFrame* frame) {
  return library_->av_buffersink_get_frame(sink_, frame);
}

void FilterGraph::setFrameSize(unsigned samples) {
  library_->av_buffersink_set_frame_size(sink_, samples);
}
