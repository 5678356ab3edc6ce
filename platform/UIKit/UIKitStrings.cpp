#include "platform/UIKit/UIKitStrings.h"

#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/NSBundle.h"

std::string UIKitLocalizedString(const std::string& key) {
  static const auto bundle = NSBundle::bundleWithPath(systemPath("/System/Library/Frameworks/UIKit.framework"));
  return bundle ? bundle->localizedStringForKey_value_table(key, "", "") : key;
}
