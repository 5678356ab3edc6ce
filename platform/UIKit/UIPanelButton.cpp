#include "platform/UIKit/UIPanelButton.h"

#include <algorithm>

namespace {

constexpr CGFloat titleMargin = 8;  // points
constexpr UIColor systemBlue{0, 0.478F, 1, 1};
constexpr UIColor disabledGray{0.56F, 0.56F, 0.58F, 1};

}  // namespace

ZV_REGISTER_CLASS(UIPanelButton, "UIPanelButton", UIControl, {{"press", runtime::method(&UIPanelButton::press)}})

UIPanelButton::UIPanelButton()
    : card_(std::make_shared<UICardView>()),
      title_(std::make_shared<UILabel>()),
      pressed_(UIColor::colorWithWhite_alpha(0, 0.1F)) {
  title_->setTextAlignment(NSTextAlignment::Center);
  title_->setTextColor(systemBlue);
  title_->setAccessibilityElementsHidden(true);
  card_->setUserInteractionEnabled(false);
  addSubview(card_);
  addSubview(title_);
  addOwner_action_forControlEvents(this, "press", UIControlEventTouchUpInside);
  showColors();
}

void UIPanelButton::setTitle(const std::string& title) {
  title_->setText(title);
  setAccessibilityLabel(title);
}

void UIPanelButton::setEnabled(bool enabled) {
  enabled_ = enabled;
  title_->setTextColor(enabled ? systemBlue : disabledGray);
}

void UIPanelButton::setColors(UIColor normal, UIColor pressed) {
  normal_ = normal;
  pressed_ = pressed;
  showColors();
}

void UIPanelButton::showColors() {
  card_->setColor(isHighlighted() ? pressed_ : normal_);
}

void UIPanelButton::setHighlighted(bool highlighted) {
  UIControl::setHighlighted(highlighted);
  showColors();
}

void UIPanelButton::layoutSubviews() {
  const CGSize size = bounds().size;
  card_->setFrame(bounds());
  title_->setFrame(CGRectMake(titleMargin, 0, size.width - 2 * titleMargin, size.height));
}

void UIPanelButton::handleTouch(const UITouch& touch) {
  if (enabled_) UIControl::handleTouch(touch);
}

void UIPanelButton::press() {
  const auto handler = handler_;  // may let go of the button
  if (enabled_ && handler) handler();
}

std::vector<UIAccessibilityElement> UIPanelButton::accessibilityElements() {
  UIAccessibilityElement element;
  element.label = accessibilityLabel();
  element.frame = bounds();
  element.enabled = enabled_;
  element.focusRingInsets = {3, 3, 3, 3};  // it may stand at the edges of what it is in
  element.focusRingRadius = std::max(card_->cornerRadius() - 3, 8.0F);
  element.activate = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) static_cast<UIPanelButton&>(*self).press();
  };
  return {element};
}
