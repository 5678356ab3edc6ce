#include "platform/UIKit/UIMovieScrubberGeometry.h"

#include "platform/Foundation/NSNumberFormatter.h"

#include <cmath>
#include <cstdio>

CGFloat UIMovieScrubberGeometry::xForTime(double seconds) const {
  if (window.length() <= 0) return contentStart();
  const double x = contentStart() + (seconds - window.start) / window.length() * contentWidth();
  // Far outside it only matters that it is outside.
  return static_cast<CGFloat>(std::clamp(x, -4.0 * size.width - 1000, 5.0 * size.width + 1000));
}

double UIMovieScrubberGeometry::timeForX(CGFloat x) const {
  // Single precision has lost less than this when an x comes back from a window's coordinates.
  constexpr CGFloat same = 0.002f;
  if (x <= contentStart() + same || contentWidth() <= 0) return window.start;
  if (x >= contentEnd() - same) return window.end;
  const double seconds = window.start + (static_cast<double>(x) - contentStart()) / contentWidth() * window.length();
  // A place that stands for 2 s is 2 s, not a hair before it, where the previous frame is.
  constexpr double grain = 10000;
  return std::clamp(std::round(seconds * grain) / grain, window.start, window.end);
}

CGRect UIMovieScrubberGeometry::strip() const {
  constexpr CGFloat beyond = 8;  // enough to hide the rounded corners and the border
  CGFloat left = edgeInset;
  CGFloat right = std::max(left, size.width - edgeInset);
  if (window.length() > 0) {
    left = std::max(-beyond, xForTime(0) - endWidth());
    right = std::min(size.width + beyond, xForTime(duration) + endWidth());
  }
  return CGRectMake(left, top(), std::max(CGFloat(0), right - left), stripHeight());
}

std::string UIMovieScrubberTimeText(double seconds) {
  const long long hundredths = std::isfinite(seconds) ? std::llround(std::max(0.0, seconds) * 100) : 0;
  const long long whole = hundredths / 100;
  char text[64];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%02lld", whole / 3600, whole / 60 % 60, whole % 60,
                  hundredths % 100);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld.%02lld", whole / 60, whole % 60, hundredths % 100);
  }
  return NSNumberFormatter::stringInPersonsDigits(text);
}
