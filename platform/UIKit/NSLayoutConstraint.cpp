#include "platform/UIKit/NSLayoutConstraint.h"

#include "platform/UIKit/UIView.h"

Strong<NSLayoutConstraint>
NSLayoutConstraint::constraintWithItem_attribute_relatedBy_toItem_attribute_multiplier_constant(
    const Strong<UIView>& item, NSLayoutAttribute attribute, NSLayoutRelation relation, const Strong<UIView>& toItem,
    NSLayoutAttribute toAttribute, CGFloat multiplier, CGFloat constant) {
  auto constraint = std::make_shared<NSLayoutConstraint>();
  constraint->firstItem_ = item;
  constraint->firstAttribute_ = attribute;
  constraint->relation_ = relation;
  constraint->secondItem_ = toItem;
  constraint->hasSecondItem_ = toItem != nullptr;
  constraint->secondAttribute_ = toAttribute;
  constraint->multiplier_ = multiplier;
  constraint->constant_ = constant;
  return constraint;
}
