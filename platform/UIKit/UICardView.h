#pragma once

#include "platform/UIKit/UIView.h"

/// A rectangle of one colour whose corners may be rounded: what alerts, sheets and pressed buttons stand on.
class UICardView : public UIView {
  ZV_OBJECT(UICardView)
 public:
  enum Corner : unsigned { TopLeft = 1, TopRight = 2, BottomLeft = 4, BottomRight = 8, AllCorners = 15 };

  const UIColor& color() const { return color_; }
  void setColor(UIColor color);
  CGFloat cornerRadius() const { return radius_; }  ///< points
  unsigned corners() const { return corners_; }     ///< those that are rounded
  void setCornerRadius(CGFloat radius, unsigned corners = AllCorners);
  const char* visualKind() const override { return "card"; }

 private:
  UIColor color_ = UIColor::whiteColor();
  CGFloat radius_ = 0;
  unsigned corners_ = AllCorners;
};
