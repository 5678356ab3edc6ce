#include "platform/UIKit/UIMovieScrubber.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/UIKit/UIMovieScrubberImpl.h"

#include <chrono>
#include <cmath>
#include <utility>

ZV_REGISTER_CLASS(UIMovieScrubber, "UIMovieScrubber", UIControl, {})

namespace {

constexpr double tickSeconds = 1.0 / 60;
constexpr double appearanceSeconds = 0.2;
/// Reloads that follow each other faster, as while a window is resized, ask for pictures only after the last one.
constexpr double reloadRestSeconds = 0.15;
constexpr CGFloat narrowestThumbnail = 16;

double steadyNow() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

UIMovieScrubber::Impl::Impl(UIMovieScrubber& scrubber) : view(scrubber) {
  clock.now = steadyNow;
  clock.after = [](double seconds, std::function<void()> block) {
    dispatch_after(seconds, dispatch_get_main_queue(), std::move(block));
  };
}

UIMovieScrubber::UIMovieScrubber() : impl_(std::make_unique<Impl>(*this)) {}
UIMovieScrubber::~UIMovieScrubber() = default;

// Configuration

void UIMovieScrubber::setEditable(bool editable) {
  if (impl_->editable == editable) return;
  impl_->editable = editable;
  if (!editable) setEditing_animated(false, false);
  impl_->layOutThumbnails();
  setNeedsDisplay();
}

void UIMovieScrubber::setMinimumTrimLength(double seconds) {
  impl_->minimumTrimLength = std::isfinite(seconds) ? std::max(0.0, seconds) : 0;
}

void UIMovieScrubber::setZoomDelay(double seconds) {
  impl_->zoomDelay = std::max(0.0, seconds);
}

void UIMovieScrubber::setEdgeInset(CGFloat points) {
  if (impl_->edgeInset == points) return;
  impl_->edgeInset = std::max(CGFloat(0), points);
  impl_->layOutThumbnails();
  setNeedsDisplay();
}

void UIMovieScrubber::setFrameDuration(double seconds) {
  if (std::isfinite(seconds) && seconds > 0) impl_->frameDuration = seconds;
}

void UIMovieScrubber::setClock(Clock clock) {
  impl_->clock = std::move(clock);
}

bool UIMovieScrubber::isEditable() const {
  return impl_->editable;
}
double UIMovieScrubber::minimumTrimLength() const {
  return impl_->minimumTrimLength;
}
double UIMovieScrubber::zoomDelay() const {
  return impl_->zoomDelay;
}
CGFloat UIMovieScrubber::edgeInset() const {
  return impl_->edgeInset;
}

void UIMovieScrubber::setDelegate(const Strong<NSObject>& owner, UIMovieScrubberDelegate* delegate) {
  impl_->delegateOwner = owner;
  impl_->delegate = delegate;
}

void UIMovieScrubber::setDataSource(const Strong<NSObject>& owner, UIMovieScrubberDataSource* dataSource) {
  impl_->dataSourceOwner = owner;
  impl_->dataSource = dataSource;
}

UIMovieScrubberDelegate* UIMovieScrubber::delegate() const {
  return impl_->liveDelegate();
}
UIMovieScrubberDataSource* UIMovieScrubber::dataSource() const {
  return impl_->liveSource();
}

// The model

double UIMovieScrubber::value() const {
  return impl_->value;
}

void UIMovieScrubber::setValue(double seconds) {
  auto& impl = *impl_;
  if (!std::isfinite(seconds) || impl.hold) return;  // what is held belongs to the person
  seconds = std::max(0.0, seconds);
  if (impl.duration > 0) seconds = std::min(seconds, impl.duration);
  if (seconds == impl.value) return;
  impl.value = seconds;
  // In an hour's strip the playhead takes a while to move by anything that can be seen.
  const auto x = impl.geometry(impl.zoom.shown(impl.clock.now())).xForTime(seconds);
  if (std::abs(x - impl.shownPlayheadX) < 0.1f) return;
  impl.shownPlayheadX = x;
  setNeedsDisplay();
}

bool UIMovieScrubber::isEditing() const {
  return impl_->editing;
}

void UIMovieScrubber::setEditing_animated(bool editing, bool animated) {
  if (editing == impl_->editing) return;
  const auto keep = impl_->self();
  if (editing) {
    impl_->beginEditing(animated);
  } else {
    if (impl_->hold && impl_->hold->handle != HandlePlayhead) impl_->endHold();
    impl_->endEditing(animated);
  }
}

void UIMovieScrubber::Impl::beginEditing(bool animated) {
  editing = true;
  start = 0;
  end = duration;
  appearance.moveTo(1, clock.now(), animated ? appearanceSeconds : 0);
  startTicking();
  redraw();
}

void UIMovieScrubber::Impl::endEditing(bool animated) {
  if (!editing) return;
  editing = false;
  closingStart = start;
  closingEnd = end;
  start = 0;
  end = duration;
  appearance.moveTo(0, clock.now(), animated ? appearanceSeconds : 0);
  startTicking();
  redraw();
}

double UIMovieScrubber::editingStartValue() const {
  return impl_->start;
}
double UIMovieScrubber::editingEndValue() const {
  return impl_->end;
}
double UIMovieScrubber::duration() const {
  return impl_->duration;
}

// Data

void UIMovieScrubber::reloadData() {
  const auto keep = impl_->self();
  auto& impl = *impl_;
  auto* source = impl.liveSource();
  const double duration = source ? source->movieScrubberDuration(*this) : 0;
  const float aspect = source ? source->movieScrubberThumbnailAspectRatio(*this) : 1;
  impl.aspectRatio = std::isfinite(aspect) && aspect > 0 ? aspect : 1;
  impl.thumbnails.reload();
  impl.setDuration(std::isfinite(duration) && duration > 0 ? duration : 0);

  const double now = impl.clock.now();
  const bool inSuccession = now - impl.lastReload < reloadRestSeconds;
  impl.lastReload = now;
  const unsigned count = ++impl.reloadCount;
  impl.needsRequests = inSuccession;
  if (inSuccession) {
    impl.after(reloadRestSeconds, [count](Impl& later) {
      if (count != later.reloadCount) return;
      later.needsRequests = false;
      later.layOutThumbnails();
      later.redraw();
    });
  }
  impl.layOutThumbnails();
  setNeedsDisplay();
}

void UIMovieScrubber::Impl::setDuration(double seconds) {
  if (seconds == duration) return;
  const bool wholeEnd = end >= duration;
  endHold();
  duration = seconds;
  zoom.reset(duration);
  if (duration > 0) value = std::min(value, duration);
  start = editing ? std::clamp(start, 0.0, duration - minimumLength()) : 0;
  end = !editing || wholeEnd ? duration : std::clamp(end, start + minimumLength(), duration);
  if (!editing) return;
  if (auto* listener = liveDelegate()) {
    // Nothing is left to be edited in a movie that can't be measured.
    if (duration <= 0) {
      listener->movieScrubberDidCancelEditing(view);
      endEditing(false);
    } else {
      listener->movieScrubber_editingStartValueDidChange(view, start);
      listener->movieScrubber_editingEndValueDidChange(view, end);
    }
  }
}

UIMovieScrubberThumbnails::Source UIMovieScrubber::Impl::thumbnailSource() {
  return {[this](int count, double from, double to) {
            auto* source = liveSource();
            return source ? source->movieScrubber_evenlySpacedTimestamps_startingAt_endingAt(
                                view, count, NSNumber(from), NSNumber(to))
                          : std::vector<NSNumber>();
          },
          [this](NSNumber timestamp) {
            if (auto* source = liveSource()) source->movieScrubber_requestThumbnailImageForTimestamp(view, timestamp);
          }};
}

void UIMovieScrubber::Impl::layOutThumbnails() {
  const auto all = geometry({0, duration});
  if (needsRequests || !liveSource() || duration <= 0 || all.contentWidth() < 1 || all.stripHeight() < 1) return;
  const CGFloat width = std::clamp(all.stripHeight() * aspectRatio, narrowestThumbnail, CGFloat(4096));
  // As many as fit, each a little narrower than its picture rather than the last one cut.
  const int count = std::max(1, static_cast<int>(std::ceil(all.contentWidth() / width - 0.05f)));
  thumbnails.layOutMovie(count, duration, thumbnailSource());
  if (!zoom.isZoomed()) return;
  const auto& window = zoom.target();
  const auto zoomed = targetGeometry();
  const double secondsPerPoint = window.length() / zoomed.contentWidth();
  const double first = window.start - zoomed.contentStart() * secondsPerPoint;
  const double last = window.end + (zoomed.size.width - zoomed.contentEnd()) * secondsPerPoint;
  thumbnails.layOutZoom(window.length() / count, std::max(0.0, first), std::min(duration, last), thumbnailSource());
}

void UIMovieScrubber::setThumbnailImage_forTimestamp(const CGImageRef& image, NSNumber timestamp) {
  if (impl_->thumbnails.setImage(image, timestamp)) setNeedsDisplay();
}

// The view

void UIMovieScrubber::layoutSubviews() {
  if (const auto outer = superview(); outer && bounds().size.height <= 0 && outer->bounds().size.height > 0) {
    setAutoresizingMask(autoresizingMask() | UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
    setFrame(outer->bounds());
  }
  impl_->layOutThumbnails();
  setNeedsDisplay();
}

CGSize UIMovieScrubber::sizeThatFits() const {
  const auto outer = superview();
  return {outer ? outer->bounds().size.width : std::max(bounds().size.width, CGFloat(320)),
          UIMovieScrubberGeometry::height};
}

bool UIMovieScrubber::pointInside(CGPoint point) const {
  // As high to grab as it is wide.
  const auto size = bounds().size;
  const CGFloat more = std::max(CGFloat(0), (UIMovieScrubberGeometry::grabWidth - size.height) / 2);
  return point.x >= 0 && point.x < size.width && point.y >= -more && point.y < size.height + more;
}

UIMovieScrubber::Look UIMovieScrubber::look() const {
  return impl_->look();
}

// Time

Strong<UIMovieScrubber> UIMovieScrubber::Impl::self() const {
  return std::static_pointer_cast<UIMovieScrubber>(view.weak_from_this().lock());
}

void UIMovieScrubber::Impl::after(double seconds, std::function<void(Impl&)> block) {
  clock.after(seconds, [weak = view.weak_from_this(), block = std::move(block)] {
    if (const auto alive = weak.lock()) block(*static_cast<UIMovieScrubber&>(*alive).impl_);
  });
}

void UIMovieScrubber::Impl::startTicking() {
  if (ticking) return;
  ticking = true;
  lastTick = clock.now();
  after(tickSeconds, [](Impl& impl) { impl.tick(); });
}

void UIMovieScrubber::Impl::tick() {
  const auto keep = self();
  const double now = clock.now();
  ticking = false;
  redraw();  // also once when the way has ended, so that its end is shown
  const bool scrolls = autoScroll(now - lastTick);
  if (scrolls || zoom.isMoving(now) || appearance.isMoving(now)) {
    startTicking();
  } else if (!zoom.isZoomed()) {
    thumbnails.endZoom();
  }
}
