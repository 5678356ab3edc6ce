#include "platform/backends/appstream/AppStreamLibrary.h"

#include "platform/Foundation/os_trace.h"

#include <dlfcn.h>

namespace {

template <class Function>
bool resolve(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

}  // namespace

const AppStreamLibrary* AppStreamLibrary::shared() {
  static const AppStreamLibrary* const library = []() -> const AppStreamLibrary* {
    static AppStreamLibrary functions;
    if (functions.open()) return &functions;
    const char* reason = dlerror();
    os_trace_error("the software catalogue can't be read: %s", reason ? reason : "libappstream lacks a function");
    return nullptr;
  }();
  return library;
}

bool AppStreamLibrary::open() {
  // For good: what it registers with GLib can't be taken back.
  void* library = dlopen("libappstream.so.4", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  bool complete = library != nullptr;
#define ZV_RESOLVE(function) complete = complete && resolve(library, #function, function);
  ZV_APPSTREAM_FUNCTIONS(ZV_RESOLVE)
#undef ZV_RESOLVE
  return complete;
}
