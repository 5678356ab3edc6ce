#include "platform/Foundation/DynamicLibrary.h"

#include "platform/Foundation/ObjCRuntime.h"

#include <dlfcn.h>
#include <unistd.h>
#include <filesystem>

namespace {

/// The folder that holds the program's bundle.
const std::filesystem::path& prefix() {
  static const std::filesystem::path folder = [] {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    return program.extension() == ".appex" ? program.parent_path() : program;
  }();
  return folder;
}

}  // namespace

std::string systemPath(const std::string& path) {
  return path.starts_with("/System/") ? prefix().string() + path : path;
}

void* dlopen_now(const std::string& path) {
  const std::filesystem::path library = systemPath(path);
  const runtime::LoadingBundle bundle(library.parent_path().string());
  return dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
}

std::string dlerror_text() {
  const char* text = dlerror();
  return text ? text : "";
}
