#include "tests/uikit/UIKitTestSupport.h"

#include "platform/UIKit/UIFont.h"

#include <algorithm>
#include <cmath>

// Widths that don't depend on which fonts the machine has.
CGSize UITextSize(const std::string& text, const UIFont& font) {
  return {static_cast<float>(text.size()) * font.pointSize * testLetterWidth, font.pointSize};
}

// Breaks lines between any two letters.
CGSize UITextSizeInWidth(const std::string& text, const UIFont& font, CGFloat width) {
  CGSize size{0, 0};
  std::size_t at = 0;
  while (at <= text.size()) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const float wanted = static_cast<float>(end - at) * font.pointSize * testLetterWidth;
    size.width = std::max(size.width, std::min(wanted, width));
    size.height += font.pointSize * std::max(1.0F, std::ceil(wanted / width));
    at = end + 1;
  }
  return size;
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
