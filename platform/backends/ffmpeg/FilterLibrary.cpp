#include "platform/backends/ffmpeg/FilterLibrary.h"

bool FilterLibrary::resolveAll(void* library) {
  bool complete = true;
#define ZV_RESOLVE(function) complete = complete && resolve(library, #function, function);
  ZV_FILTER_FUNCTIONS(ZV_RESOLVE)
#undef ZV_RESOLVE
  return complete;
}
