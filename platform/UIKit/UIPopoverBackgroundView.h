#pragma once

#include "platform/UIKit/UIView.h"

/// The bubble of a popover: a rounded, translucent white card with a shadow, as large as the view itself, and an arrow
/// that sticks out of it above or below. Takes touches, so that one between the content and the rim closes nothing.
class UIPopoverBackgroundView : public UIView {
  ZV_OBJECT(UIPopoverBackgroundView)
 public:
  // Points.
  static constexpr CGFloat arrowHeight = 12;
  static constexpr CGFloat arrowWidth = 30;
  static constexpr CGFloat cornerRadius = 13;

  enum class Arrow { None, Up, Down };
  Arrow arrow() const { return arrow_; }
  /// Where the arrow's tip is, from the view's left edge.
  CGFloat arrowOffset() const { return arrowOffset_; }
  void setArrow(Arrow arrow, CGFloat offset);

  const char* visualKind() const override { return "popover"; }

 private:
  Arrow arrow_ = Arrow::None;
  CGFloat arrowOffset_ = 0;
};
