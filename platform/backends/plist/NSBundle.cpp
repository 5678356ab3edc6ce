#include "platform/Foundation/NSBundle.h"

#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/Environment.h"
#include "platform/Foundation/PersonLanguages.h"
#include "platform/backends/plist/StringsFile.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <vector>

namespace {

/// `isUnreadable` becomes true when the file is there.
std::optional<std::string> readFile(const std::string& path, bool* isUnreadable = nullptr) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return {};
  std::ifstream stream(path, std::ios::binary);
  if (!stream && isUnreadable) *isUnreadable = true;
  if (!stream) return {};
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

/// The names of the folders for the person's languages, most wanted first, each with its less specific forms: "de_AT",
/// "de-AT", "de". Ends with English.
std::vector<std::string> languageFolders() {
  std::vector<std::string> names;
  for (const std::string& locale : personLanguages()) {
    names.push_back(locale);
    if (const std::size_t bar = locale.find_first_of("_-"); bar != std::string::npos) {
      std::string other = locale;
      other[bar] = locale[bar] == '_' ? '-' : '_';
      names.push_back(other);
      names.push_back(locale.substr(0, bar));
    }
  }
  names.push_back("en");
  return names;
}

std::mutex& loadedMutex() {
  static std::mutex mutex;
  return mutex;
}

std::map<std::string, std::shared_ptr<NSBundle>>& loadedBundles() {
  static std::map<std::string, std::shared_ptr<NSBundle>> bundles;
  return bundles;
}

std::mutex& tablesMutex() {
  static std::mutex mutex;
  return mutex;
}

}  // namespace

std::shared_ptr<NSBundle> NSBundle::mainBundle() {
  static const std::shared_ptr<NSBundle> bundle = [] {
    std::string folder = environmentVariable("ZEVANTI_BUNDLE");
    if (folder.empty()) {
      std::error_code error;
      folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
    }
    if (auto found = bundleWithPath(folder)) return found;
    // A program outside a bundle, such as a test: a bundle without entries.
    auto bare = std::make_shared<NSBundle>();
    bare->path_ = folder;
    return bare;
  }();
  return bundle;
}

std::shared_ptr<NSBundle> NSBundle::bundleForClass(Class cls) {
  if (cls && !cls->bundlePath.empty()) {
    if (auto bundle = bundleWithPath(cls->bundlePath)) return bundle;
  }
  return mainBundle();
}

std::shared_ptr<NSBundle> NSBundle::bundleWithPath(const std::string& path) {
  std::error_code error;
  std::string folder = std::filesystem::weakly_canonical(path, error).string();
  if (error || folder.empty()) return nullptr;
  std::lock_guard lock(loadedMutex());
  if (auto loaded = loadedBundles().find(folder); loaded != loadedBundles().end()) return loaded->second;
  auto content = readFile(folder + "/Info.plist");
  if (!content) content = readFile(folder + "/Contents/Info.plist");
  if (!content) return nullptr;
  auto entries = parsePropertyList(*content);
  if (entries.empty()) return nullptr;
  auto bundle = std::make_shared<NSBundle>();
  bundle->path_ = folder;
  bundle->info_ = std::move(entries);
  bundle->identifier_ = bundle->infoString("CFBundleIdentifier");
  loadedBundles()[folder] = bundle;
  return bundle;
}

std::shared_ptr<NSBundle> NSBundle::bundleWithIdentifier(const std::string& identifier) {
  auto main = mainBundle();
  if (!identifier.empty() && main->identifier_ == identifier) return main;
  if (identifier.empty()) return nullptr;
  {
    std::lock_guard lock(loadedMutex());
    for (auto& [path, bundle] : loadedBundles()) {
      if (bundle->identifier_ == identifier) return bundle;
    }
  }
  for (const char* place : {"/System/Library/Frameworks", "/System/Library/PublishingBundles"}) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(systemPath(place), error), end; !error && entry != end;
         entry.increment(error)) {
      const auto bundle = bundleWithPath(entry->path().string());
      if (bundle && bundle->identifier_ == identifier) return bundle;
    }
  }
  return nullptr;
}

std::string NSBundle::infoString(const std::string& dottedKey) const {
  auto entry = info_.find(dottedKey);
  return entry == info_.end() ? "" : entry->second;
}

std::string NSBundle::pathForResource(const std::string& fileName) const {
  std::error_code error;
  for (const std::string& language : languageFolders()) {
    std::string path = path_ + "/" + language + ".lproj/" + fileName;
    if (std::filesystem::exists(path, error)) return path;
  }
  std::string path = path_ + "/" + fileName;
  return std::filesystem::exists(path, error) ? path : "";
}

const std::map<std::string, std::string>& NSBundle::table(const std::string& name) const {
  std::lock_guard lock(tablesMutex());
  auto loaded = tables_.find(name);
  if (loaded == tables_.end()) {
    // A text that a translation lacks is taken from the next language of the person's.
    std::map<std::string, std::string> texts;
    bool isUnreadable = false;
    const auto add = [&](const std::string& folder) {
      if (auto content = readFile(path_ + folder + "/" + name + ".strings", &isUnreadable))
        texts.merge(parseStringsFile(*content));
    };
    for (const std::string& language : languageFolders()) add("/" + language + ".lproj");
    add("");
    if (isUnreadable) {  // for once: the next to ask may find it readable
      static thread_local std::map<std::string, std::string> incomplete;
      return incomplete = std::move(texts);
    }
    loaded = tables_.emplace(name, std::move(texts)).first;
  }
  return loaded->second;  // stays where it is, and as it is
}

std::map<std::string, std::string> NSBundle::localizedInfoDictionary() const {
  return table("InfoPlist");
}

std::string NSBundle::localizedStringForKey_value_table(const std::string& key, const std::string& value,
                                                        const std::string& tableName) const {
  const auto& texts = table(tableName.empty() ? "Localizable" : tableName);
  if (auto text = texts.find(key); text != texts.end()) return text->second;
  return value.empty() ? key : value;
}
