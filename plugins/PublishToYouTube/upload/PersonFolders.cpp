#include "plugins/PublishToYouTube/upload/PersonFolders.h"

#include <pwd.h>
#include <unistd.h>
#include <cstdlib>

namespace publishing {

namespace {

std::string folder(const char* variable, const char* inHome) {
  // A relative path in these variables is invalid and counts as unset.
  if (const char* base = std::getenv(variable); base && base[0] == '/') return std::string(base) + "/zevanti";
  if (const char* home = std::getenv("HOME"); home && home[0] == '/') return std::string(home) + inHome + "/zevanti";
  const passwd* user = getpwuid(getuid());
  return std::string(user && user->pw_dir ? user->pw_dir : "/nonexistent") + inHome + "/zevanti";
}

}  // namespace

std::string configurationFolder() {
  return folder("XDG_CONFIG_HOME", "/.config");
}

std::string stateFolder() {
  return folder("XDG_STATE_HOME", "/.local/state");
}

}  // namespace publishing
