#include "platform/UIKit/UICardView.h"

ZV_REGISTER_CLASS(UICardView, "UICardView", UIView, {})

void UICardView::setColor(UIColor color) {
  if (color == color_) return;
  color_ = color;
  setNeedsDisplay();
}

void UICardView::setCornerRadius(CGFloat radius, unsigned corners) {
  if (radius == radius_ && corners == corners_) return;
  radius_ = radius;
  corners_ = corners;
  setNeedsDisplay();
}
