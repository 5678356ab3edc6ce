#include "platform/UIKit/UIKitStrings.h"
#include "platform/UIKit/UIMovieScrubberImpl.h"

std::vector<UIAccessibilityElement> UIMovieScrubber::accessibilityElements() {
  const auto& impl = *impl_;
  const auto element = [this, &impl](const char* label, Handle handle, CGRect frame) {
    UIAccessibilityElement made;
    made.label = label;
    made.spoken = UIKitLocalizedString(label);
    made.role = UIAccessibilityRole::Slider;
    made.frame = frame;
    made.enabled = impl.duration > 0;
    made.focusRingInsets = {1, -2, 1, -2};  // as high as there is room
    made.value = UIMovieScrubberTimeText(impl.handleTime(handle));
    made.adjust = [weak = weak_from_this(), handle](int steps, UIAdjustmentUnit unit) {
      const auto alive = weak.lock();
      if (!alive) return;
      auto& scrubber = *static_cast<UIMovieScrubber&>(*alive).impl_;
      scrubber.stepBy(handle, steps * (unit == UIAdjustmentUnit::Frame ? scrubber.frameDuration : 1.0));
    };
    return made;
  };
  // With room for a focus ring around each.
  constexpr CGFloat room = 3, handle = UIMovieScrubberGeometry::handleWidth + 2 * room, playhead = 15;
  const CGFloat height = bounds().size.height;
  const CGFloat start = impl.edgeX(HandleStart), end = impl.edgeX(HandleEnd), x = impl.edgeX(HandlePlayhead);
  std::vector<UIAccessibilityElement> elements;
  if (impl.editable) {
    elements.push_back(element("Start", HandleStart, CGRectMake(start + room - handle, 0, handle, height)));
  }
  elements.push_back(element("Playhead", HandlePlayhead, CGRectMake(x - playhead / 2, 0, playhead, height)));
  if (impl.editable) {
    elements.push_back(element("End", HandleEnd, CGRectMake(end - room, 0, handle, height)));
  }
  return elements;
}
