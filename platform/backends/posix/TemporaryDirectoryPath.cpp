#include "platform/Foundation/ExtensionLaunch.h"

#include <pwd.h>
#include <unistd.h>
#include <cstdlib>

const std::string& temporaryDirectoryPath() {
  static const std::string path = [] {
    // A relative cache directory is invalid and counts as unset.
    if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache && cache[0] == '/')
      return std::string(cache) + "/zevanti/";
    if (const char* home = std::getenv("HOME"); home && home[0] == '/') return std::string(home) + "/.cache/zevanti/";
    const passwd* user = getpwuid(getuid());
    return std::string(user && user->pw_dir ? user->pw_dir : "/nonexistent") + "/.cache/zevanti/";
  }();
  return path;
}
