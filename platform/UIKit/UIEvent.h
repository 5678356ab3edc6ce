#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

#include <string>

enum class UITouchPhase { Began, Moved, Ended, Cancelled };

/// One finger, pen or pressed mouse button at a moment.
struct UITouch {
  int identifier = 0;  ///< the same from Began to Ended
  UITouchPhase phase = UITouchPhase::Began;
  CGPoint locationInWindow;
  double timestamp = 0;  ///< seconds of a steady clock
};

enum class UIEventSubtype { None = 0, MotionShake = 1 };

class UIEvent {
 public:
  explicit UIEvent(UIEventSubtype subtype = UIEventSubtype::None) : subtype_(subtype) {}
  UIEventSubtype subtype() const { return subtype_; }

 private:
  UIEventSubtype subtype_;
};

/// A key press. `name` is "Tab", "Left", "Right", "Return", "Space", "Escape", "Home", "End", "F11", or the upper-case
/// letter.
struct UIKey {
  std::string name;
  bool shift = false, control = false, alt = false;
};
