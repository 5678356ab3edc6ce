#pragma once

#include "platform/Foundation/os_trace.h"

#include <dlfcn.h>

/// The functions of a library that few runs of a program need: opened at the first question, for good. `Table` derives
/// from this, holds the functions' addresses and, open to this class, has
/// - `libraryFile`, the file's name for the loader,
/// - `lossWithoutIt`, what can't be done without the library, for the trace log,
/// - `bool resolveAll(void* library)`, which looks all of them up.
template <class Table>
class LibraryOnDemand {
 public:
  /// Null when the library is not installed or lacks a function. Any thread.
  static const Table* shared() {
    static const Table* const table = []() -> const Table* {
      static Table functions;
      void* const library = dlopen(Table::libraryFile, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
      if (library && functions.resolveAll(library)) return &functions;
      const char* reason = dlerror();
      os_trace_error("%s: %s", Table::lossWithoutIt, reason ? reason : Table::libraryFile);
      return nullptr;
    }();
    return table;
  }

 protected:
  template <class Function>
  static bool resolve(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
  }
};
