#pragma once

#include "platform/UIKit/UIGestureRecognizer.h"

#include <optional>

/// Recognises a finger, or the pressed mouse, that moves: fires for every move once it has gone 10 points. Main queue
/// only.
class UIPanGestureRecognizer : public UIGestureRecognizer {
 public:
  static Strong<UIPanGestureRecognizer> initWithTarget_action(const Strong<NSObject>& target, SEL action);
  /// How far the touch has moved since the action was last sent, in points.
  CGPoint translation() const { return translation_; }
  void handleTouch(const UITouch& touch) override;

 private:
  std::optional<int> identifier_;
  bool isMoving_ = false;
  CGPoint last_, translation_;
};
