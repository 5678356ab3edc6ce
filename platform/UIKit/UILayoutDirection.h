#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

enum class UIUserInterfaceLayoutDirection { LeftToRight = 0, RightToLeft = 1 };

/// The way in which the person's language is written, of those that the toolkit speaks: bars, rows and texts begin at
/// that side. Time lines don't: they run to the right everywhere. Main queue.
UIUserInterfaceLayoutDirection UIApplicationLayoutDirection();
/// Another direction from now on; what is on screen follows with its next layout. For tests.
void UIApplicationSetLayoutDirection(UIUserInterfaceLayoutDirection direction);

/// `frame` in a view of this width, on the other side of its middle where that is where things begin; else as it is.
CGRect UIRectInLayoutDirection(CGRect frame, CGFloat width);
