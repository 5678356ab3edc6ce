#include "platform/UIKit/UIMovieScrubberImpl.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr CGFloat still = 2;          ///< points that a pointer may stray while it is held still
constexpr CGFloat playheadReach = 6;  ///< points beside the playhead that take hold of it where it is
constexpr CGFloat playheadCore = 4;   ///< points beside the playhead where it goes before a handle
constexpr double noteSeconds = 1.2;   ///< how long the time stays after a key
constexpr CGFloat scrollArming = 3;   ///< points towards the edge before a widened strip begins to move

bool isTrimHandle(int handle) {
  return handle == UIMovieScrubber::HandleStart || handle == UIMovieScrubber::HandleEnd;
}

}  // namespace

// Where things are

double UIMovieScrubber::Impl::handleTime(int handle) const {
  if (handle == HandleStart) return editing ? start : 0;
  if (handle == HandleEnd) return editing ? end : duration;
  return value;
}

double UIMovieScrubber::Impl::shownTime(int handle) const {
  // Small against a frame, large against the rounding of times in a movie.
  constexpr double beforeEnd = 0.02;
  return handle == HandleEnd ? std::max(start, end - beforeEnd * frameDuration) : handleTime(handle);
}

CGFloat UIMovieScrubber::Impl::edgeX(int handle) const {
  return targetGeometry().xForTime(handleTime(handle));
}

int UIMovieScrubber::Impl::handleAt(CGPoint point) const {
  if (!editable) return HandlePlayhead;
  const auto geometry = targetGeometry();
  const CGFloat startX = edgeX(HandleStart), endX = edgeX(HandleEnd), playheadX = edgeX(HandlePlayhead);
  if (point.x >= startX && point.x <= endX && std::abs(point.x - playheadX) <= playheadCore) return HandlePlayhead;
  // A handle is grabbed rather outside of the selection than inside, where the playhead is wanted too; inside more only
  // as far as the control's edge cuts off the outside, and never more than a third of the selection.
  constexpr CGFloat grab = UIMovieScrubberGeometry::grabWidth, inside = 16;
  const CGFloat third = (endX - startX) / 3;
  const CGFloat startInside = std::min(third, std::max(inside, grab - startX));
  const CGFloat endInside = std::min(third, std::max(inside, grab - (geometry.size.width - endX)));
  if (point.x <= startX + startInside && point.x >= startX + startInside - grab) return HandleStart;
  if (point.x >= endX - endInside && point.x <= endX - endInside + grab) return HandleEnd;
  return HandlePlayhead;
}

CGPoint UIMovieScrubber::Impl::grabPoint(int handle) const {
  const CGFloat y = view.bounds().size.height / 2;
  const CGFloat x = edgeX(handle);
  constexpr CGFloat half = UIMovieScrubberGeometry::handleWidth / 2;
  if (handle == HandleStart) return {x - half, y};
  if (handle == HandleEnd) return {x + half, y};
  // The nearest place that does not take hold of a handle.
  for (CGFloat away = 0; away < view.bounds().size.width; ++away) {
    for (const CGFloat candidate : {x + away, x - away}) {
      if (candidate >= 0 && candidate < view.bounds().size.width && handleAt({candidate, y}) == handle) {
        return {candidate, y};
      }
    }
  }
  return {x, y};
}

CGPoint UIMovieScrubber::pointForTime(double seconds) const {
  return {impl_->targetGeometry().xForTime(seconds), bounds().size.height / 2};
}

CGPoint UIMovieScrubber::grabPointForHandle(Handle handle) const {
  return impl_->grabPoint(handle);
}

CGPoint UIMovieScrubber::dragPointForHandle(Handle handle, double seconds) const {
  auto point = pointForTime(seconds);
  if (impl_->hold && impl_->hold->handle == handle) {
    point.x -= impl_->hold->offset;
  } else {
    const CGFloat offset = impl_->edgeX(handle) - impl_->grabPoint(handle).x;
    if (isTrimHandle(handle) || std::abs(offset) <= playheadReach) point.x -= offset;
  }
  return point;
}

// Holding

void UIMovieScrubber::handleTouch(const UITouch& touch) {
  const auto keep = impl_->self();
  auto& impl = *impl_;
  const auto point = convertPointFromWindow(touch.locationInWindow);
  if (touch.phase == UITouchPhase::Began) {
    if (impl.hold || impl.duration <= 0 || impl.targetGeometry().contentWidth() < 1) return;
    impl.zoom.finish();
    impl.beginHold(touch.identifier, impl.handleAt(point), point);
    return;
  }
  if (!impl.hold || impl.hold->touch != touch.identifier) return;
  if (touch.phase == UITouchPhase::Moved) impl.moveHold(point);
  if (touch.phase == UITouchPhase::Ended) {
    if (!(point == impl.hold->pointer)) impl.moveHold(point);
    impl.endHold();
  }
  // A touch that the system takes away leaves things where they are.
  if (touch.phase == UITouchPhase::Cancelled) impl.endHold();
}

void UIMovieScrubber::handleHover(std::optional<CGPoint> point) {
  int over = HandleNone;
  if (point && impl_->duration > 0 && impl_->editable && pointInside(*point)) over = impl_->handleAt(*point);
  if (over == HandlePlayhead) over = HandleNone;
  if (over == impl_->hovered) return;
  impl_->hovered = over;
  setNeedsDisplay();
}

void UIMovieScrubber::Impl::beginHold(int touch, int handle, CGPoint point) {
  Hold begun;
  begun.touch = touch;
  begun.handle = handle;
  begun.pointer = begun.stillSince = point;
  const CGFloat offset = edgeX(handle) - point.x;
  if (isTrimHandle(handle) || std::abs(offset) <= playheadReach) begun.offset = offset;
  hold = begun;
  notedHandle = HandleNone;
  redraw();
  // The delegate may let go of everything at each message.
  if (isTrimHandle(handle)) takeHandle(handle);
  if (!hold) return;
  hold->isTold = true;
  if (auto* listener = liveDelegate()) listener->movieScrubberDidBeginScrubbing_withHandle(view, handle);
  if (!hold) return;
  if (isTrimHandle(handle)) {
    changePlayhead(shownTime(handle));
    if (hold) awaitStillness();
  } else {
    followPointer();
  }
}

void UIMovieScrubber::Impl::moveHold(CGPoint point) {
  hold->pointer = point;
  if (isTrimHandle(hold->handle) && !zoom.isZoomed() &&
      std::hypot(point.x - hold->stillSince.x, point.y - hold->stillSince.y) > still) {
    awaitStillness();
  }
  if (pastEdge() != 0) startTicking();
  followPointer();
}

void UIMovieScrubber::Impl::endHold() {
  if (!hold) return;
  const int handle = hold->handle;
  const bool isTold = hold->isTold;
  hold.reset();
  if (zoom.isZoomed()) {
    zoom.zoomOut(clock.now());
    startTicking();
  }
  redraw();
  auto* listener = liveDelegate();
  if (listener && isTold) listener->movieScrubberDidEndScrubbing_withHandle(view, handle);
}

void UIMovieScrubber::Impl::followPointer() {
  const double seconds = targetGeometry().timeForX(hold->pointer.x + hold->offset);
  if (isTrimHandle(hold->handle)) {
    changeHandle(hold->handle, seconds);
  } else {
    changePlayhead(editing ? std::clamp(seconds, start, end) : seconds);
  }
}

// Zoom

void UIMovieScrubber::Impl::awaitStillness() {
  hold->stillSince = hold->pointer;
  hold->stillCount = ++stillCount;
  after(zoomDelay, [count = stillCount](Impl& impl) {
    if (impl.hold && impl.hold->stillCount == count && !impl.zoom.isZoomed()) impl.zoomIn();
  });
}

void UIMovieScrubber::Impl::zoomIn() {
  if (!zoom.zoomIn(handleTime(hold->handle), clock.now())) return;
  // A handle that is pushed against a limit lies away from the pointer; from here on it goes with it.
  hold->offset = edgeX(hold->handle) - hold->pointer.x;
  hold->zoomPointerX = hold->pointer.x;
  layOutThumbnails();
  startTicking();
  redraw();
}

/// How far the held handle has been taken past the widened strip's edge: points, negative to the left.
CGFloat UIMovieScrubber::Impl::pastEdge() const {
  if (!hold || !zoom.isZoomed()) return 0;
  const auto geometry = targetGeometry();
  const CGFloat x = hold->pointer.x, held = x + hold->offset;
  const CGFloat left = geometry.edgeInset, right = geometry.size.width - geometry.edgeInset;
  if (x <= hold->zoomPointerX - scrollArming) {
    return std::min({CGFloat(0), held - geometry.contentStart(), x - left});
  }
  if (x >= hold->zoomPointerX + scrollArming) {
    return std::max({CGFloat(0), held - geometry.contentEnd(), x - right});
  }
  return 0;
}

bool UIMovieScrubber::Impl::autoScroll(double seconds) {
  const CGFloat depth = pastEdge();
  if (depth == 0) return false;
  const double speed = std::min(2.0, 0.2 + std::abs(depth) / 16.0) * zoom.target().length();
  // No farther than the handle may go: it stays under the pointer.
  const bool isStart = hold->handle == HandleStart;
  const double place = handleTime(hold->handle);
  const double room = depth < 0 ? place - (isStart ? 0 : start + minimumLength())
                                : (isStart ? end - minimumLength() : duration) - place;
  const double way = std::min(speed * std::clamp(seconds, 0.0, 0.1), room);
  if (way <= 0) return false;
  zoom.scrollBy(depth < 0 ? -way : way);
  layOutThumbnails();
  redraw();
  if (hold) followPointer();
  return true;
}

// What changes

void UIMovieScrubber::Impl::takeHandle(int handle) {
  auto* listener = liveDelegate();
  if (!editing) {
    beginEditing(true);
    if (listener) listener->movieScrubberDidBeginEditing(view);
  }
  // Whoever cuts the movie needs both ends, also when only one of them is ever moved.
  if (editing && (listener = liveDelegate())) listener->movieScrubber_editingStartValueDidChange(view, start);
  if (editing && (listener = liveDelegate())) listener->movieScrubber_editingEndValueDidChange(view, end);
  if (!editing && hold && hold->handle == handle) hold.reset();
}

void UIMovieScrubber::Impl::changePlayhead(double seconds) {
  if (seconds == value) return;
  value = seconds;
  redraw();
  if (auto* listener = liveDelegate()) listener->movieScrubber_valueDidChange(view, value);
}

void UIMovieScrubber::Impl::changeHandle(int handle, double seconds) {
  const bool isStart = handle == HandleStart;
  double& place = isStart ? start : end;
  seconds = isStart ? std::clamp(seconds, 0.0, std::max(0.0, end - minimumLength()))
                    : std::clamp(seconds, std::min(duration, start + minimumLength()), duration);
  if (seconds != place) {
    place = seconds;
    redraw();
    if (auto* listener = liveDelegate()) {
      isStart ? listener->movieScrubber_editingStartValueDidChange(view, seconds)
              : listener->movieScrubber_editingEndValueDidChange(view, seconds);
    }
  }
  if (editing) changePlayhead(shownTime(handle));
}

void UIMovieScrubber::Impl::stepBy(int handle, double seconds) {
  if (hold || duration <= 0 || (isTrimHandle(handle) && !editable)) return;
  const auto keep = self();
  if (isTrimHandle(handle)) {
    takeHandle(handle);
    if (!editing) return;
  }
  notedHandle = handle;
  after(noteSeconds, [count = ++noteCount](Impl& impl) {
    if (impl.noteCount != count) return;
    impl.notedHandle = HandleNone;
    impl.redraw();
  });
  redraw();
  if (auto* listener = liveDelegate()) listener->movieScrubberDidBeginScrubbing_withHandle(view, handle);
  if (isTrimHandle(handle)) {
    if (editing) changeHandle(handle, handleTime(handle) + seconds);
  } else {
    changePlayhead(std::clamp(value + seconds, editing ? start : 0, editing ? end : duration));
  }
  if (auto* listener = liveDelegate()) listener->movieScrubberDidEndScrubbing_withHandle(view, handle);
}
