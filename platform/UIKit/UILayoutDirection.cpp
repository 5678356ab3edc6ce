#include "platform/UIKit/UILayoutDirection.h"

#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/NSBundle.h"

#include <filesystem>

namespace {

UIUserInterfaceLayoutDirection directionOfLanguage() {
  const auto bundle = NSBundle::bundleWithPath(systemPath("/System/Library/Frameworks/UIKit.framework"));
  if (!bundle) return UIUserInterfaceLayoutDirection::LeftToRight;
  // The folder of the words that are shown: "ar.lproj".
  const std::filesystem::path words = bundle->pathForResource("Localizable.strings");
  const std::string language = words.parent_path().stem().string().substr(0, 2);
  for (const char* each : {"ar", "fa", "he", "ur"}) {
    if (language == each) return UIUserInterfaceLayoutDirection::RightToLeft;
  }
  return UIUserInterfaceLayoutDirection::LeftToRight;
}

UIUserInterfaceLayoutDirection& direction() {
  static UIUserInterfaceLayoutDirection current = directionOfLanguage();
  return current;
}

}  // namespace

UIUserInterfaceLayoutDirection UIApplicationLayoutDirection() {
  return direction();
}

void UIApplicationSetLayoutDirection(UIUserInterfaceLayoutDirection newDirection) {
  direction() = newDirection;
}

CGRect UIRectInLayoutDirection(CGRect frame, CGFloat width) {
  if (direction() == UIUserInterfaceLayoutDirection::RightToLeft) {
    frame.origin.x = width - frame.origin.x - frame.size.width;
  }
  return frame;
}
