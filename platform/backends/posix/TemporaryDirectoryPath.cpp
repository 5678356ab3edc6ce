#include "platform/Foundation/Environment.h"
#include "platform/Foundation/ExtensionLaunch.h"

const std::string& temporaryDirectoryPath() {
  static const std::string path = [] {
    const std::string cache = environmentFolder("XDG_CACHE_HOME");
    return (cache.empty() ? homeFolder() + "/.cache" : cache) + "/zevanti/";
  }();
  return path;
}
