#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIEvent.h"

/// Whatever can receive input. Main queue only.
class UIResponder : public NSObject {
 public:
  virtual UIResponder* nextResponder() const { return nullptr; }
  virtual bool canBecomeFirstResponder() { return false; }
  /// Makes this the first responder of the process when it can be; the old one resigns.
  virtual bool becomeFirstResponder();
  virtual bool resignFirstResponder();
  bool isFirstResponder() const;
  static Strong<UIResponder> firstResponder();

  /// The end of a device motion; the base class passes it to the next responder.
  virtual void motionEnded_withEvent(UIEventSubtype motion, const UIEvent& event);
};
