#include "support/NSBundleZVExtensions.h"

#include "platform/Dispatch/dispatch.h"

namespace {

constexpr const char* frameworkIdentifier = "zevanti.Zevanti";

std::optional<std::string> nameIn(const std::map<std::string, std::string>& dictionary) {
  const auto found = dictionary.find(kCFBundleNameKey);
  return found == dictionary.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

namespace ZVExtensions {

std::shared_ptr<NSBundle> _srFrameworkBundle() {
  static dispatch_once_t once;
  static std::shared_ptr<NSBundle> bundle;
  dispatch_once(once, [] { bundle = NSBundle::bundleWithIdentifier(frameworkIdentifier); });
  return bundle;
}

std::optional<std::string> _srLocalizedStringFromFrameworkBundleWithKey(const std::string& key) {
  const auto bundle = _srFrameworkBundle();
  if (!bundle) return {};
  return bundle->localizedStringForKey_value_table(key, key, "");
}

std::optional<std::string> _srLocalizedAppNameFromBundleID(const std::string& bundleIdentifier) {
  const auto bundle = NSBundle::bundleWithIdentifier(bundleIdentifier);
  if (!bundle) return {};
  const auto localized = nameIn(bundle->localizedInfoDictionary());
  return localized ? localized : nameIn(bundle->infoDictionary());
}

}  // namespace ZVExtensions
