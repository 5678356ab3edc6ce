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
inline constexpr UIControlEvents UIControlEventValueChanged = 4096;  ///< by a person's hand, not by a setter

using UIControlState = unsigned;
inline constexpr UIControlState UIControlStateNormal = 0;
inline constexpr UIControlState UIControlStateHighlighted = 1;

/// A view that turns touches into actions. A finger may stray 70 points (a mouse pointer: 4) before it counts as
/// outside. The first touch is followed, others are ignored meanwhile. Main queue only.
class UIControl : public UIView {
  ZV_OBJECT(UIControl)
 public:
  /// The target is not owned. The action is sent with the control as its argument.
  void addTarget_action_forControlEvents(const Strong<NSObject>& target, SEL action, UIControlEvents events);
  /// For an object that is still being made and outlives the control as its owner. From the first touch on it is
  /// watched like any target, so that a touch under way may outlive the owner.
  void addOwner_action_forControlEvents(NSObject* owner, SEL action, UIControlEvents events);
  void sendActionsForControlEvents(UIControlEvents events);
  bool isHighlighted() const { return highlighted_; }
  void handleTouch(const UITouch& touch) override;
  /// A button with the view's accessibility label; nothing without one.
  std::vector<UIAccessibilityElement> accessibilityElements() override;
  /// How far outside of what it pressed a touch still counts as inside, in points.
  static CGFloat touchSlop(const UITouch& touch);

 protected:
  virtual void setHighlighted(bool highlighted);

 private:
  struct Registration {
    Weak<NSObject> target;
    NSObject* owner;
    SEL action;
    UIControlEvents events;
  };
  void watchOwners();
  std::vector<Registration> registrations_;
  std::optional<int> trackedTouch_;
  bool highlighted_ = false;
};
