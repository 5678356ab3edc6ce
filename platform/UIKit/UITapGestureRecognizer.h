#pragma once

#include "platform/UIKit/UIGestureRecognizer.h"

#include <optional>

/// One tap of one finger that stays within 10 points and ends within 0.75 seconds.
class UITapGestureRecognizer : public UIGestureRecognizer {
 public:
  static Strong<UITapGestureRecognizer> initWithTarget_action(const Strong<NSObject>& target, SEL action);
  void handleTouch(const UITouch& touch) override;

 private:
  CGPoint start_;
  double startTime_ = 0;
  std::optional<int> identifier_;
};
