#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

#include <string>

/// A size and weight of the system font.
struct UIFont {
  CGFloat pointSize = 17;
  bool semibold = false;

  static UIFont systemFontOfSize(CGFloat size) { return {size, false}; }
  static UIFont semiboldSystemFontOfSize(CGFloat size) { return {size, true}; }
  friend bool operator==(const UIFont&, const UIFont&) = default;
};

/// The size in points of one line of text (UTF-8). Main queue.
CGSize UITextSize(const std::string& text, const UIFont& font);

/// The size in points of text that is broken into lines of at most `width` points. Main queue.
CGSize UITextSizeInWidth(const std::string& text, const UIFont& font, CGFloat width);
