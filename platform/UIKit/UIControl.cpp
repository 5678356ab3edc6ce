#include "platform/UIKit/UIControl.h"

#include "platform/UIKit/UIKitStrings.h"

#include <utility>

ZV_REGISTER_CLASS(UIControl, "UIControl", UIView, {})

namespace {

constexpr int mouseIdentifier = 0;
constexpr CGFloat mouseSlop = 4, fingerSlop = 70;  // points

}  // namespace

CGFloat UIControl::touchSlop(const UITouch& touch) {
  return touch.identifier == mouseIdentifier ? mouseSlop : fingerSlop;
}

void UIControl::addTarget_action_forControlEvents(const Strong<NSObject>& target, SEL action, UIControlEvents events) {
  registrations_.push_back({target, nullptr, std::move(action), events});
}

void UIControl::addOwner_action_forControlEvents(NSObject* owner, SEL action, UIControlEvents events) {
  registrations_.push_back({{}, owner, std::move(action), events});
}

void UIControl::watchOwners() {
  for (auto& registration : registrations_) {
    if (!registration.owner) continue;
    registration.target = registration.owner->weak_from_this();
    if (!registration.target.expired()) registration.owner = nullptr;
  }
}

void UIControl::sendActionsForControlEvents(UIControlEvents events) {
  const auto self = weak_from_this().lock();
  if (!self) return;
  watchOwners();
  const auto registrations = registrations_;  // an action may add others
  for (const auto& registration : registrations) {
    if (!(registration.events & events)) continue;
    const auto target = registration.target.lock();
    if (target && target->respondsToSelector(registration.action)) {
      target->performSelector_withObject(registration.action, self);
    }
  }
}

void UIControl::setHighlighted(bool highlighted) {
  if (highlighted == highlighted_) return;
  highlighted_ = highlighted;
  setNeedsDisplay();
}

void UIControl::handleTouch(const UITouch& touch) {
  const auto keep = weak_from_this().lock();
  if (touch.phase == UITouchPhase::Began) {
    if (trackedTouch_) return;
    trackedTouch_ = touch.identifier;
    setHighlighted(true);
    sendActionsForControlEvents(UIControlEventTouchDown);
    return;
  }
  if (trackedTouch_ != touch.identifier) return;
  if (touch.phase == UITouchPhase::Cancelled) {
    trackedTouch_.reset();
    setHighlighted(false);
    sendActionsForControlEvents(UIControlEventTouchCancel);
    return;
  }
  const CGPoint point = convertPointFromWindow(touch.locationInWindow);
  const CGFloat slop = touchSlop(touch);
  const CGSize size = bounds().size;
  const bool inside = CGRectMake(-slop, -slop, size.width + 2 * slop, size.height + 2 * slop).contains(point);
  if (touch.phase == UITouchPhase::Moved) {
    setHighlighted(inside);
    sendActionsForControlEvents(inside ? UIControlEventTouchDragInside : UIControlEventTouchDragOutside);
  } else {
    trackedTouch_.reset();
    setHighlighted(false);
    sendActionsForControlEvents(inside ? UIControlEventTouchUpInside : UIControlEventTouchUpOutside);
  }
}

std::vector<UIAccessibilityElement> UIControl::accessibilityElements() {
  if (accessibilityLabel().empty()) return {};
  UIAccessibilityElement element;
  element.label = accessibilityLabel();
  element.spoken = UIKitLocalizedString(element.label);  // "Play", in the person's language; most are in it already
  element.frame = bounds();
  element.activate = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) {
      static_cast<UIControl&>(*self).sendActionsForControlEvents(UIControlEventTouchUpInside);
    }
  };
  return {element};
}
