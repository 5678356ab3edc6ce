#include "platform/Foundation/DesktopFolders.h"

#include "platform/Foundation/Environment.h"

#include <algorithm>
#include <filesystem>

namespace {

std::vector<std::string> folders(const char* own, const char* inHome, const char* shared, const char* usual) {
  const std::string first = environmentFolder(own), given = environmentVariable(shared);
  std::vector<std::string> found{first.empty() ? homeFolder() + inHome : first};
  const std::string list = given.empty() ? usual : given;
  for (std::size_t start = 0; start < list.size();) {
    const std::size_t end = std::min(list.find(':', start), list.size());
    if (list[start] == '/') found.push_back(list.substr(start, end - start));
    start = end + 1;
  }
  return found;
}

}  // namespace

std::vector<std::string> desktopDataFolders() {
  return folders("XDG_DATA_HOME", "/.local/share", "XDG_DATA_DIRS", "/usr/local/share:/usr/share");
}

std::vector<std::string> desktopConfigurationFolders() {
  return folders("XDG_CONFIG_HOME", "/.config", "XDG_CONFIG_DIRS", "/etc/xdg");
}

std::string sessionBusAddress() {
  if (std::string address = environmentVariable("DBUS_SESSION_BUS_ADDRESS"); !address.empty()) return address;
  const std::string runtime = environmentVariable("XDG_RUNTIME_DIR");
  if (runtime.empty()) return {};
  const std::string path = runtime + "/bus";
  std::error_code error;
  return std::filesystem::exists(path, error) ? "unix:path=" + path : "";
}
