#include "platform/backends/ffmpeg/FilterLibrary.h"

#include "platform/Foundation/os_trace.h"

#include <dlfcn.h>

namespace {

template <class Function>
bool resolve(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

}  // namespace

const FilterLibrary* FilterLibrary::shared() {
  static const FilterLibrary* const library = []() -> const FilterLibrary* {
    static FilterLibrary functions;
    if (functions.open()) return &functions;
    const char* reason = dlerror();
    os_trace_error("pictures and sound can't be converted: %s", reason ? reason : "libavfilter lacks a function");
    return nullptr;
  }();
  return library;
}

bool FilterLibrary::open() {
  // The one that the headers belong to.
  void* library =
      dlopen("libavfilter.so." AV_STRINGIFY(LIBAVFILTER_VERSION_MAJOR), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  bool complete = library != nullptr;
#define ZV_RESOLVE(function) complete = complete && resolve(library, #function, function);
  ZV_FILTER_FUNCTIONS(ZV_RESOLVE)
#undef ZV_RESOLVE
  return complete;
}
