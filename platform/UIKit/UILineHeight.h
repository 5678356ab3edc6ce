#pragma once

#include "platform/UIKit/UIFont.h"

#include <cmath>

/// How high two lines of a text are, in points. Letters of other scripts make higher lines, and a line that doesn't fit
/// would be left out. Main queue.
inline CGFloat UITwoLinesHeight(const std::string& text, const UIFont& font) {
  constexpr CGFloat endless = 10000;
  return 2 * std::ceil(UITextSizeInWidth(text, font, endless).height + 0.5F);
}
