#include "platform/UIKit/UISwitch.h"

#include "platform/UIKit/UILayoutDirection.h"

ZV_REGISTER_CLASS(UISwitch, "UISwitch", UIControl, {})

namespace {

constexpr CGSize usualSize{51, 31};
constexpr CGFloat inset = 2;        // points, of the knob
constexpr double slideTime = 0.15;  // seconds

class Knob : public UIView {
 public:
  Knob() { setUserInteractionEnabled(false); }
  const char* visualKind() const override { return "switchKnob"; }
};

}  // namespace

UISwitch::UISwitch() : knob_(std::make_shared<Knob>()) {
  setFrame({{0, 0}, usualSize});
  addSubview(knob_);
}

CGRect UISwitch::knobFrame() const {
  const CGFloat side = bounds().size.height - 2 * inset;
  const CGFloat width = bounds().size.width;
  return UIRectInLayoutDirection(CGRectMake(on_ ? width - inset - side : inset, inset, side, side), width);
}

void UISwitch::setOn_animated(bool on, bool animated) {
  if (on == on_) return;
  on_ = on;
  setNeedsDisplay();
  if (animated) {
    UIView::animateWithDuration_animations(slideTime, [this] { knob_->setFrame(knobFrame()); });
  } else {
    knob_->setFrame(knobFrame());
  }
}

void UISwitch::toggle() {
  setOn_animated(!on_, true);
  sendActionsForControlEvents(UIControlEventValueChanged);
}

CGSize UISwitch::sizeThatFits() const {
  return usualSize;
}

void UISwitch::layoutSubviews() {
  if (!(knob_->frame() == knobFrame())) knob_->setFrame(knobFrame());
}

void UISwitch::handleTouch(const UITouch& touch) {
  const bool wasPressed = isHighlighted();
  UIControl::handleTouch(touch);
  if (touch.phase == UITouchPhase::Ended && wasPressed) toggle();
}

std::vector<UIAccessibilityElement> UISwitch::accessibilityElements() {
  UIAccessibilityElement element;
  element.label = accessibilityLabel();
  element.role = UIAccessibilityRole::Switch;
  element.frame = bounds();
  element.checked = on_;
  element.focusRingRadius = bounds().size.height;  // round
  element.activate = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) static_cast<UISwitch&>(*self).toggle();
  };
  return {element};
}
