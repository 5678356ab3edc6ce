#include "platform/UIKit/UITapGestureRecognizer.h"

#include <cmath>
#include <utility>

namespace {

constexpr float mostMovement = 10;  // points
constexpr double mostTime = 0.75;   // seconds

}  // namespace

Strong<UITapGestureRecognizer> UITapGestureRecognizer::initWithTarget_action(const Strong<NSObject>& target,
                                                                             SEL action) {
  auto recognizer = std::make_shared<UITapGestureRecognizer>();
  recognizer->setTarget_action(target, std::move(action));
  return recognizer;
}

void UITapGestureRecognizer::handleTouch(const UITouch& touch) {
  if (touch.phase == UITouchPhase::Began) {
    if (identifier_) {
      identifier_.reset();  // a second finger: not a tap of one
    } else {
      identifier_ = touch.identifier;
      start_ = touch.locationInWindow;
      startTime_ = touch.timestamp;
    }
    return;
  }
  if (identifier_ != touch.identifier) return;
  const float distance = std::hypot(touch.locationInWindow.x - start_.x, touch.locationInWindow.y - start_.y);
  const bool failed =
      touch.phase == UITouchPhase::Cancelled || distance > mostMovement || touch.timestamp - startTime_ > mostTime;
  if (failed || touch.phase == UITouchPhase::Ended) identifier_.reset();
  if (!failed && touch.phase == UITouchPhase::Ended) fire();
}
