#pragma once

#include "platform/backends/posix/LibraryOnDemand.h"

#include <cstdint>  // the library's headers want it in front of them

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

/// libavfilter, opened when the first conversion needs it: with the thirty libraries that nothing else here needs it
/// would cost every start of a program that only cuts a movie its time and a dozen megabytes.
class FilterLibrary : public LibraryOnDemand<FilterLibrary> {
 public:
#define ZV_FILTER_FUNCTIONS(apply)                                                             \
  apply(avfilter_graph_alloc) apply(avfilter_graph_free) apply(avfilter_graph_create_filter)   \
      apply(avfilter_graph_parse_ptr) apply(avfilter_graph_config) apply(avfilter_get_by_name) \
          apply(avfilter_inout_alloc) apply(avfilter_inout_free) apply(av_buffersrc_add_frame) \
              apply(av_buffersink_get_frame) apply(av_buffersink_set_frame_size)

// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared
#define ZV_DECLARE(function) decltype(&::function) function = nullptr;
  ZV_FILTER_FUNCTIONS(ZV_DECLARE)
#undef ZV_DECLARE

 private:
  friend LibraryOnDemand<FilterLibrary>;
  // The one that the headers belong to.
  static constexpr const char* libraryFile = "libavfilter.so." AV_STRINGIFY(LIBAVFILTER_VERSION_MAJOR);
  static constexpr const char* lossWithoutIt = "pictures and sound can't be converted";

  FilterLibrary() = default;
  bool resolveAll(void* library);
};
