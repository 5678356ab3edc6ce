#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

#include <algorithm>
#include <string>

/// A stretch of the movie's time, in seconds.
struct UIMovieScrubberWindow {
  double start = 0, end = 0;
  double length() const { return end - start; }
  friend bool operator==(const UIMovieScrubberWindow&, const UIMovieScrubberWindow&) = default;
};

/// Where times lie in a timeline: lengths in points, times in seconds.
///
/// The strip's two ends are as wide as a handle, so that a handle at the very start or end covers no picture; between
/// them lies the window of time that is shown (the whole movie, unless zoomed).
struct UIMovieScrubberGeometry {
  static constexpr CGFloat height = 38;         ///< of a control that may choose
  static constexpr CGFloat verticalMargin = 4;  ///< above and below the strip
  static constexpr CGFloat handleWidth = 12;
  static constexpr CGFloat grabWidth = 44;  ///< of what takes hold of a handle

  CGSize size;                   ///< of the control
  CGFloat edgeInset = 0;         ///< left and right of the strip
  bool hasEnds = false;          ///< whether the strip has ends to be taken hold of
  double duration = 0;           ///< of the movie
  UIMovieScrubberWindow window;  ///< what is shown between the ends

  CGFloat contentStart() const { return edgeInset + endWidth(); }
  CGFloat contentEnd() const { return std::max(contentStart(), size.width - edgeInset - endWidth()); }
  CGFloat contentWidth() const { return contentEnd() - contentStart(); }
  CGFloat endWidth() const { return hasEnds ? handleWidth : 0; }
  CGFloat top() const { return verticalMargin; }
  CGFloat stripHeight() const { return std::max(CGFloat(0), size.height - 2 * verticalMargin); }

  /// May lie outside of the strip, for a time outside of the window.
  CGFloat xForTime(double seconds) const;
  /// Never outside of the window; exactly its start and end at the strip's ends, between them in steps of 0.1 ms.
  double timeForX(CGFloat x) const;
  /// The whole strip. It goes on beyond the control's edges where the movie does.
  CGRect strip() const;
};

/// "0:12.34", from an hour on "1:02:03.45".
std::string UIMovieScrubberTimeText(double seconds);
