#include "platform/UIKit/UISegmentedControl.h"

#include "platform/UIKit/UILayoutDirection.h"

#include <algorithm>
#include <cmath>

ZV_REGISTER_CLASS(UISegmentedControl, "UISegmentedControl", UIControl, {})

namespace {

constexpr CGFloat usualHeight = 32, margin = 12, titlePointSize = 13;  // points

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
  const auto edge = [&](int at) {
    return std::round(size.width * static_cast<CGFloat>(at) / static_cast<CGFloat>(titles_.size()));
  };
  return UIRectInLayoutDirection(CGRectMake(edge(index), 0, edge(index + 1) - edge(index), size.height), size.width);
}

CGSize UISegmentedControl::sizeThatFits() const {
  CGFloat widest = 0;
  for (const auto& title : titles_) widest = std::max(widest, UITextSize(title, titleFont()).width);
  return {(std::ceil(widest) + 2 * margin) * static_cast<CGFloat>(titles_.size()), usualHeight};
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
    element.group = accessibilityLabel();
    element.activate = [weak = weak_from_this(), i] {
      if (const auto self = weak.lock()) static_cast<UISegmentedControl&>(*self).choose(i);
    };
    elements.push_back(std::move(element));
  }
  return elements;
}
