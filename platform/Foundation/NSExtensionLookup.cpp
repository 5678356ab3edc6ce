#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/Environment.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSExtension.h"
#include "platform/Foundation/NSFileManager.h"

namespace {

bool isDisabled(const std::string& identifier) {
  std::string configuration = environmentFolder("XDG_CONFIG_HOME");
  if (configuration.empty()) configuration = homeFolder() + "/.config";
  return NSFileManager::defaultManager().fileExistsAtPath(configuration + "/zevanti/disabled-extensions/" + identifier);
}

}  // namespace

Strong<NSExtension> NSExtension::extensionWithIdentifier_excludingDisabledExtensions_error(
    const std::string& identifier, bool excludingDisabled, NSErrorPtr* error) {
  if (identifier.empty() || identifier.find('/') != std::string::npos) return nullptr;
  const NSFileManager& files = NSFileManager::defaultManager();
  const std::string folder = systemPath("/System/Library/PlugIns");
  if (!files.fileExistsAtPath(folder)) return nullptr;
  const auto names = files.contentsOfDirectoryAtPath_error(folder, error);
  if (!names) return nullptr;
  for (const std::string& name : *names) {
    if (!name.ends_with(".appex")) continue;
    const auto bundle = NSBundle::bundleWithPath(folder + "/" + name);
    if (!bundle || bundle->bundleIdentifier() != identifier) continue;
    if (excludingDisabled && isDisabled(identifier)) return nullptr;
    return std::make_shared<NSExtension>(identifier, bundle->bundlePath());
  }
  return nullptr;
}
