#include "platform/backends/portal/AddressHandlers.h"

#include "platform/Foundation/DesktopFolders.h"
#include "platform/Foundation/Environment.h"

#include <QStandardPaths>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kSchemeType = "x-scheme-handler/";

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(separator, start), text.size());
    if (end > start) parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

/// Calls `entry` with group, key and value of every line that is one.
void readEntries(const fs::path& path,
                 const std::function<void(const std::string&, const std::string&, const std::string&)>& entry) {
  std::ifstream file(path);
  std::string group;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with('[')) {
      group = line.substr(1, line.find(']') - 1);
    } else if (const std::size_t equals = line.find('='); equals != std::string::npos && !line.starts_with('#')) {
      std::string key = line.substr(0, equals), value = line.substr(equals + 1);
      key.erase(key.find_last_not_of(' ') + 1);
      value.erase(0, value.find_first_not_of(' '));
      entry(group, key, value);
    }
  }
}

bool isProgram(const std::string& command) {
  std::string program = command.substr(0, command.find(' '));
  std::erase(program, '"');
  return !program.empty() && !QStandardPaths::findExecutable(QString::fromStdString(program)).isEmpty();
}

/// What the applications' own files and the lists of choices say.
class Associations {
 public:
  void readDesktopFile(const fs::path& path, const std::string& name) {
    std::string types, exec, tryExec, hidden;
    readEntries(path, [&](const std::string& group, const std::string& key, const std::string& value) {
      if (group != "Desktop Entry") return;
      if (key == "MimeType") types = value;
      if (key == "Exec") exec = value;
      if (key == "TryExec") tryExec = value;
      if (key == "Hidden") hidden = value;
    });
    // The first of a name counts, even when all it does is hide the others.
    if (!applications_.try_emplace(name, false).second) return;
    if (hidden == "true" || exec.empty() || !isProgram(tryExec.empty() ? exec : tryExec)) return;
    applications_[name] = true;
    add(split(types, ';'), name);
  }

  void readChoices(const fs::path& path) {
    readEntries(path, [&](const std::string& group, const std::string& type, const std::string& names) {
      if (group != "Default Applications" && group != "Added Associations" && group != "Removed Associations") return;
      for (const std::string& name : split(names, ';')) {
        if (group == "Removed Associations") {
          removed_[type].insert(name);
        } else {
          add({type}, name);
        }
      }
    });
  }

  bool isHandled(const std::string& scheme) const {
    const std::string type = std::string(kSchemeType) + scheme;
    const auto handlers = handlers_.find(type), removed = removed_.find(type);
    return handlers != handlers_.end() &&
           std::any_of(handlers->second.begin(), handlers->second.end(), [&](const std::string& name) {
             const auto application = applications_.find(name);
             return application != applications_.end() && application->second &&
                    (removed == removed_.end() || !removed->second.contains(name));
           });
  }

 private:
  void add(const std::vector<std::string>& types, const std::string& name) {
    for (const std::string& type : types)
      if (type.starts_with(kSchemeType)) handlers_[type].insert(name);
  }

  std::map<std::string, bool> applications_;  ///< by desktop file name: whether its program is there
  std::map<std::string, std::set<std::string>> handlers_, removed_;
};

void readApplications(const fs::path& folder, Associations& associations) {
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, fs::directory_options::follow_directory_symlink, error), end;
       !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() != ".desktop") continue;
    std::string name = fs::relative(entry->path(), folder, error).string();
    std::replace(name.begin(), name.end(), '/', '-');
    associations.readDesktopFile(entry->path(), name);
  }
  associations.readChoices(folder / "mimeapps.list");
}

}  // namespace

std::set<std::string> handledSchemes(const std::set<std::string>& schemes) {
  const auto desktops = split(environmentVariable("XDG_CURRENT_DESKTOP"), ':');
  Associations associations;
  for (const std::string& folder : desktopConfigurationFolders()) {
    associations.readChoices(fs::path(folder) / "mimeapps.list");
    for (const std::string& desktop : desktops) {
      std::string name = desktop;
      std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
      associations.readChoices(fs::path(folder) / (name + "-mimeapps.list"));
    }
  }
  for (const std::string& folder : desktopDataFolders())
    readApplications(fs::path(folder) / "applications", associations);

  std::set<std::string> handled;
  for (const std::string& scheme : schemes)
    if (associations.isHandled(scheme)) handled.insert(scheme);
  return handled;
}
