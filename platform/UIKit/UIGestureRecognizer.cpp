#include "platform/UIKit/UIGestureRecognizer.h"

#include <utility>

void UIGestureRecognizer::setTarget_action(const Strong<NSObject>& target, SEL action) {
  target_ = target;
  action_ = std::move(action);
}

void UIGestureRecognizer::fire() {
  const auto target = target_.lock();
  if (target && target->respondsToSelector(action_)) target->performSelector_withObject(action_, shared_from_this());
}
