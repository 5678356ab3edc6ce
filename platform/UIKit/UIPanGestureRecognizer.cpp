#include "platform/UIKit/UIPanGestureRecognizer.h"

#include <cmath>
#include <utility>

namespace {

constexpr float leastMovement = 10;  // points

}  // namespace

Strong<UIPanGestureRecognizer> UIPanGestureRecognizer::initWithTarget_action(const Strong<NSObject>& target,
                                                                             SEL action) {
  auto recognizer = std::make_shared<UIPanGestureRecognizer>();
  recognizer->setTarget_action(target, std::move(action));
  return recognizer;
}

void UIPanGestureRecognizer::handleTouch(const UITouch& touch) {
  if (touch.phase == UITouchPhase::Began) {
    if (identifier_) return;
    identifier_ = touch.identifier;
    isMoving_ = false;
    last_ = touch.locationInWindow;
    return;
  }
  if (identifier_ != touch.identifier) return;
  if (touch.phase != UITouchPhase::Moved) {
    identifier_.reset();
    return;
  }
  const CGPoint moved{touch.locationInWindow.x - last_.x, touch.locationInWindow.y - last_.y};
  if (!isMoving_ && std::hypot(moved.x, moved.y) < leastMovement) return;
  isMoving_ = true;
  translation_ = moved;
  last_ = touch.locationInWindow;
  fire();
}
