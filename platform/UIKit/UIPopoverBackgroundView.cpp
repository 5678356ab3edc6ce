#include "platform/UIKit/UIPopoverBackgroundView.h"

ZV_REGISTER_CLASS(UIPopoverBackgroundView, "UIPopoverBackgroundView", UIView, {})

void UIPopoverBackgroundView::setArrow(Arrow arrow, CGFloat offset) {
  if (arrow == arrow_ && offset == arrowOffset_) return;
  arrow_ = arrow;
  arrowOffset_ = offset;
  setNeedsDisplay();
}
