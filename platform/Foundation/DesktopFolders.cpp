#include "platform/Foundation/DesktopFolders.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace {

std::string environment(const char* name, const std::string& otherwise) {
  const char* value = std::getenv(name);
  return value && *value ? value : otherwise;
}

std::vector<std::string> folders(const char* own, const char* inHome, const char* shared, const char* usual) {
  const std::string home = environment("HOME", "/");
  const std::string first = environment(own, "");
  std::vector<std::string> found{first.starts_with('/') ? first : home + inHome};
  const std::string list = environment(shared, usual);
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
  if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
    if (*address) return address;
  }
  const std::string runtime = environment("XDG_RUNTIME_DIR", "");
  if (runtime.empty()) return {};
  const std::string path = runtime + "/bus";
  std::error_code error;
  return std::filesystem::exists(path, error) ? "unix:path=" + path : "";
}
