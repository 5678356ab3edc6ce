#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

struct UIEdgeInsets {
  CGFloat top = 0, left = 0, bottom = 0, right = 0;
  friend bool operator==(const UIEdgeInsets&, const UIEdgeInsets&) = default;
};

/// Which margins and sides of a view give way when its superview is resized; values add up.
using UIViewAutoresizing = unsigned;
inline constexpr UIViewAutoresizing UIViewAutoresizingNone = 0;
inline constexpr UIViewAutoresizing UIViewAutoresizingFlexibleLeftMargin = 1;
inline constexpr UIViewAutoresizing UIViewAutoresizingFlexibleWidth = 2;
inline constexpr UIViewAutoresizing UIViewAutoresizingFlexibleRightMargin = 4;
inline constexpr UIViewAutoresizing UIViewAutoresizingFlexibleTopMargin = 8;
inline constexpr UIViewAutoresizing UIViewAutoresizingFlexibleHeight = 16;
inline constexpr UIViewAutoresizing UIViewAutoresizingFlexibleBottomMargin = 32;

enum class NSTextAlignment { Left = 0, Center = 1, Right = 2 };
