#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIEvent.h"

/// Watches the touches of a view and sends an action when it recognises its gesture. Main queue only.
class UIGestureRecognizer : public NSObject {
 public:
  /// The target is not owned; the action is sent with the recognizer as its argument.
  void setTarget_action(const Strong<NSObject>& target, SEL action);
  virtual void handleTouch(const UITouch& touch) = 0;

 protected:
  void fire();

 private:
  Weak<NSObject> target_;
  SEL action_;
};
