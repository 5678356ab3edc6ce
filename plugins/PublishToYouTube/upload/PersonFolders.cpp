#include "plugins/PublishToYouTube/upload/PersonFolders.h"

#include "platform/Foundation/Environment.h"

namespace publishing {

namespace {

std::string folder(const char* variable, const char* inHome) {
  const std::string given = environmentFolder(variable);
  return (given.empty() ? homeFolder() + inHome : given) + "/zevanti";
}

}  // namespace

std::string configurationFolder() {
  return folder("XDG_CONFIG_HOME", "/.config");
}

std::string stateFolder() {
  return folder("XDG_STATE_HOME", "/.local/state");
}

}  // namespace publishing
