#include "platform/UIKit/UIMovieScrubberImpl.h"

#include <cmath>

UIMovieScrubberGeometry UIMovieScrubber::Impl::geometry(const UIMovieScrubberWindow& window) const {
  UIMovieScrubberGeometry geometry;
  geometry.size = view.bounds().size;
  geometry.edgeInset = edgeInset;
  geometry.hasEnds = editable;
  geometry.duration = duration;
  geometry.window = window;
  return geometry;
}

UIMovieScrubber::Look UIMovieScrubber::Impl::look() const {
  const double now = clock.now();
  const auto shown = geometry(zoom.shown(now));
  Look look;
  look.strip = shown.strip();
  look.showsEnds = editable && duration > 0;
  look.handleWidth = UIMovieScrubberGeometry::handleWidth;
  look.hoveredHandle = hold ? int(HandleNone) : hovered;
  look.editing = static_cast<float>(appearance.at(now));
  look.zoomed = zoom.isZoomed() || zoom.isMoving(now);
  look.activeHandle = hold ? hold->handle : HandleNone;
  addThumbnails(look, shown);

  // Handles that go away slide back to the ends.
  const double p = editing ? 1 : appearance.at(now);
  look.startX = shown.xForTime(editing ? start : closingStart * p);
  look.endX = shown.xForTime(editing ? end : duration + (closingEnd - duration) * p);
  look.playheadX = shown.xForTime(value);
  // What is held is under the pointer, also while the strip is on its way.
  if (look.activeHandle == HandleStart) look.startX = edgeX(HandleStart);
  if (look.activeHandle == HandleEnd) look.endX = edgeX(HandleEnd);
  look.showsPlayhead = duration > 0 && look.activeHandle != HandleStart && look.activeHandle != HandleEnd;

  const int told = hold ? hold->handle : notedHandle;
  if (told != HandleNone && duration > 0) {
    look.timeText = UIMovieScrubberTimeText(handleTime(told));
    look.timeTextX = told == HandleStart ? look.startX : told == HandleEnd ? look.endX : look.playheadX;
  }
  return look;
}

void UIMovieScrubber::Impl::addThumbnails(Look& look, const UIMovieScrubberGeometry& shown) const {
  using Level = UIMovieScrubberThumbnails::Level;
  const double now = clock.now();
  if (!thumbnails.hasLevel(Level::Movie) || shown.window.length() <= 0) return;
  // On its way the strip still shows the movie's pictures, moving apart or together; each fills the room up to the
  // next.
  const bool fine = zoom.isZoomed() && !zoom.isMoving(now) && thumbnails.hasLevel(Level::Zoom);
  const Level level = fine ? Level::Zoom : Level::Movie;
  const double step = thumbnails.step(level);
  const CGFloat width = shown.contentWidth() / static_cast<CGFloat>(thumbnails.movieCount());
  const double secondsPerPoint = shown.window.length() / shown.contentWidth();
  const CGFloat left = std::max(CGFloat(0), look.strip.origin.x), right = std::min(shown.size.width, look.strip.maxX());
  const double from = std::max(0.0, shown.window.start + (left - shown.contentStart()) * secondsPerPoint);
  const double to = std::min(duration, shown.window.start + (right - shown.contentStart()) * secondsPerPoint);
  const long first = static_cast<long>(std::floor(from / step + 1e-9));
  for (long index = first; static_cast<double>(index) * step < to - 1e-9; ++index) {
    const double time = static_cast<double>(index) * step;
    const CGFloat begin = shown.xForTime(time), end = shown.xForTime(std::min(duration, time + step));
    const auto image = thumbnails.image(level, index);
    const auto skipped = std::max(0.0f, std::floor((left - begin) / width - 0.001f));
    // The last step may be a hair wider than its picture.
    for (CGFloat x = begin + skipped * width; x < std::min(end, right) - 0.01f * width; x += width) {
      look.thumbnails.push_back({CGRectMake(x, look.strip.origin.y, width, look.strip.size.height), image, time});
    }
  }
}
