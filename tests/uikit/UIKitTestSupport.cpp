#include "tests/uikit/UIKitTestSupport.h"

#include "platform/UIKit/UIFont.h"

// Widths that don't depend on which fonts the machine has.
CGSize UITextSize(const std::string& text, const UIFont& font) {
  return {static_cast<float>(text.size()) * font.pointSize * testLetterWidth, font.pointSize};
}

namespace {

IMP writer(const std::string& what) {
  return
      [what](NSObject& self, const Strong<NSObject>& argument) { static_cast<Recorder&>(self).note(what, argument); };
}

}  // namespace

ZV_REGISTER_CLASS(
    Recorder, "UIKitTestRecorder", NSObject,
    {{"one:", writer("one:")}, {"two:", writer("two:")}, {"three:", writer("three:")}, {"four", writer("four")}})
