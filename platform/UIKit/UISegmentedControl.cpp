#include "platform/UIKit/UISegmentedControl.h"

#include "platform/UIKit/UILayoutDirection.h"

#include <algorithm>
#include <cmath>
#include <numeric>

ZV_REGISTER_CLASS(UISegmentedControl, "UISegmentedControl", UIControl, {})

namespace {

constexpr CGFloat usualHeight = 32, margin = 12, leastMargin = 12, titlePointSize = 13;  // points

}  // namespace

Strong<UISegmentedControl> UISegmentedControl::initWithItems(std::vector<std::string> titles) {
  auto control = std::make_shared<UISegmentedControl>();
  control->titles_ = std::move(titles);
  control->sizeToFit();
  return control;
}

UIFont UISegmentedControl::titleFont() {
  return UIFont::systemFontOfSize(titlePointSize);
}

void UISegmentedControl::setSelectedSegmentIndex(int index) {
  if (index == selected_ || index < 0 || index >= static_cast<int>(titles_.size())) return;
  selected_ = index;
  setNeedsDisplay();
}

CGRect UISegmentedControl::frameOfSegment(int index) const {
  if (titles_.empty()) return CGRectZero;
  const CGSize size = bounds().size;
  std::vector<CGFloat> widths = titleWidths();
  const CGFloat widest = *std::max_element(widths.begin(), widths.end()), count = static_cast<CGFloat>(widths.size());
  // All alike, unless a long title needs some of a shorter one's room.
  if (size.width / count >= widest + leastMargin) std::fill(widths.begin(), widths.end(), 0.0F);
  const CGFloat more = (size.width - std::accumulate(widths.begin(), widths.end(), 0.0F)) / count;
  const auto edge = [&](int at) {
    return std::round(std::accumulate(widths.begin(), widths.begin() + at, more * static_cast<CGFloat>(at)));
  };
  return UIRectInLayoutDirection(CGRectMake(edge(index), 0, edge(index + 1) - edge(index), size.height), size.width);
}

std::vector<CGFloat> UISegmentedControl::titleWidths() const {
  std::vector<CGFloat> widths;
  for (const auto& title : titles_) widths.push_back(std::ceil(UITextSize(title, titleFont()).width));
  return widths;
}

CGSize UISegmentedControl::sizeThatFits() const {
  if (titles_.empty()) return {0, usualHeight};
  const auto widths = titleWidths();
  const CGFloat widest = *std::max_element(widths.begin(), widths.end());
  return {(widest + 2 * margin) * static_cast<CGFloat>(widths.size()), usualHeight};
}

void UISegmentedControl::choose(int index) {
  if (index == selected_) return;
  setSelectedSegmentIndex(index);
  sendActionsForControlEvents(UIControlEventValueChanged);
}

void UISegmentedControl::handleTouch(const UITouch& touch) {
  if (touch.phase == UITouchPhase::Began && !isHighlighted()) {
    const CGPoint point = convertPointFromWindow(touch.locationInWindow);
    for (int i = 0; i < static_cast<int>(titles_.size()); ++i) {
      if (frameOfSegment(i).contains(point)) tracked_ = i;
    }
  }
  const bool wasPressed = isHighlighted();
  UIControl::handleTouch(touch);
  if (touch.phase == UITouchPhase::Ended && wasPressed && tracked_ >= 0) choose(tracked_);
}

std::vector<UIAccessibilityElement> UISegmentedControl::accessibilityElements() {
  std::vector<UIAccessibilityElement> elements;
  for (int i = 0; i < static_cast<int>(titles_.size()); ++i) {
    UIAccessibilityElement element;
    element.label = titles_[static_cast<std::size_t>(i)];
    element.role = UIAccessibilityRole::RadioButton;
    element.frame = frameOfSegment(i);
    element.checked = i == selected_;
    element.focusRingInsets = {-1, -1, -1, -1};  // the next segment begins there
    element.focusRingRadius = 9;
    element.group = accessibilityLabel();
    element.activate = [weak = weak_from_this(), i] {
      if (const auto self = weak.lock()) static_cast<UISegmentedControl&>(*self).choose(i);
    };
    elements.push_back(std::move(element));
  }
  return elements;
}
