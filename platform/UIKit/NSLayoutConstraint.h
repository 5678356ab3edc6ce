#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/Foundation/NSObject.h"

class UIView;

enum class NSLayoutAttribute {
  NotAnAttribute = 0,
  Left = 1,
  Right = 2,
  Top = 3,
  Bottom = 4,
  Leading = 5,
  Trailing = 6,
  Width = 7,
  Height = 8,
  CenterX = 9,
  CenterY = 10
};
enum class NSLayoutRelation { LessThanOrEqual = -1, Equal = 0, GreaterThanOrEqual = 1 };

/// firstAttribute of firstItem = multiplier × secondAttribute of secondItem + constant. Only Equal is carried out.
class NSLayoutConstraint : public NSObject {
 public:
  static Strong<NSLayoutConstraint> constraintWithItem_attribute_relatedBy_toItem_attribute_multiplier_constant(
      const Strong<UIView>& item, NSLayoutAttribute attribute, NSLayoutRelation relation, const Strong<UIView>& toItem,
      NSLayoutAttribute toAttribute, CGFloat multiplier, CGFloat constant);

  Strong<UIView> firstItem() const { return firstItem_.lock(); }
  Strong<UIView> secondItem() const { return secondItem_.lock(); }
  NSLayoutAttribute firstAttribute() const { return firstAttribute_; }
  NSLayoutAttribute secondAttribute() const { return secondAttribute_; }
  NSLayoutRelation relation() const { return relation_; }
  CGFloat multiplier() const { return multiplier_; }
  CGFloat constant() const { return constant_; }
  /// Whether the constraint was made with a second item, gone or not.
  bool refersToSecondItem() const { return hasSecondItem_; }

 private:
  Weak<UIView> firstItem_, secondItem_;
  NSLayoutAttribute firstAttribute_ = NSLayoutAttribute::NotAnAttribute;
  NSLayoutAttribute secondAttribute_ = NSLayoutAttribute::NotAnAttribute;
  NSLayoutRelation relation_ = NSLayoutRelation::Equal;
  CGFloat multiplier_ = 1, constant_ = 0;
  bool hasSecondItem_ = false;
};
