#pragma once

#include "platform/UIKit/UIView.h"

#include <vector>

using UIControlEvents = unsigned;
inline constexpr UIControlEvents UIControlEventTouchDown = 1;
inline constexpr UIControlEvents UIControlEventTouchDragInside = 4;
inline constexpr UIControlEvents UIControlEventTouchDragOutside = 8;
inline constexpr UIControlEvents UIControlEventTouchUpInside = 64;
inline constexpr UIControlEvents UIControlEventTouchUpOutside = 128;
inline constexpr UIControlEvents UIControlEventTouchCancel = 256;

using UIControlState = unsigned;
inline constexpr UIControlState UIControlStateNormal = 0;
inline constexpr UIControlState UIControlStateHighlighted = 1;

/// A view that turns touches into actions. A finger may stray 70 points (a mouse pointer: none) before it counts as
/// outside. Main queue only.
class UIControl : public UIView {
  ZV_OBJECT(UIControl)
 public:
  /// The target is not owned. The action is sent with the control as its argument.
  void addTarget_action_forControlEvents(const Strong<NSObject>& target, SEL action, UIControlEvents events);
  /// For an object that is still being made and outlives the control as its owner.
  void addOwner_action_forControlEvents(NSObject* owner, SEL action, UIControlEvents events);
  void sendActionsForControlEvents(UIControlEvents events);
  bool isHighlighted() const { return highlighted_; }
  void handleTouch(const UITouch& touch) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;

 protected:
  virtual void setHighlighted(bool highlighted);

 private:
  struct Registration {
    Weak<NSObject> target;
    NSObject* owner;
    SEL action;
    UIControlEvents events;
  };
  std::vector<Registration> registrations_;
  bool highlighted_ = false;
};
