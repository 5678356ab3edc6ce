#include "platform/backends/appstream/AppStreamLibrary.h"

bool AppStreamLibrary::resolveAll(void* library) {
  bool complete = true;
#define ZV_RESOLVE(function) complete = complete && resolve(library, #function, function);
  ZV_APPSTREAM_FUNCTIONS(ZV_RESOLVE)
#undef ZV_RESOLVE
  return complete;
}
