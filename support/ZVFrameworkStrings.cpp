#include "support/ZVFrameworkStrings.h"

#include "platform/Foundation/ObjCRuntime.h"
#include "platform/Photos/PhotoFrameworks.h"

std::shared_ptr<NSBundle> ZVBundleOfClassNamed(const std::string& className) {
  photo_frameworks::load();
  const Class cls = NSClassFromString(className);
  if (!cls) return nullptr;
  return cls->bundlePath.empty() ? NSBundle::bundleForClass(cls) : NSBundle::bundleWithPath(cls->bundlePath);
}

std::shared_ptr<NSBundle> ZVPhotoLibraryFrameworkBundle() {
  static std::shared_ptr<NSBundle> bundle;
  if (!bundle) bundle = ZVBundleOfClassNamed("PLPhotoTileViewController");
  return bundle;
}

std::optional<std::string> ZVLocalizedFrameworkString(const std::string& key) {
  std::string text;
  for (const char* table : {"PhotoLibrary-Device", "PhotoLibrary", "PhotoLibrary-Avalanche", "PhotoLibrary-GM"}) {
    const auto bundle = ZVPhotoLibraryFrameworkBundle();
    if (!bundle) return {};
    text = bundle->localizedStringForKey_value_table(key, "", table);
    if (text != key) break;
  }
  return text;
}
