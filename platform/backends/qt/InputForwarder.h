#pragma once

#include "platform/UIKit/UIWindow.h"

#include <map>

class QEvent;
class QMouseEvent;
class QTouchEvent;

/// Turns the window's mouse, touch and key events into those of the views. The mouse is finger 0, real fingers count
/// from 1. Main thread.
class InputForwarder {
 public:
  /// Null: events are swallowed.
  void setTarget(const Strong<UIWindow>& target);
  /// Whether the event was one of input (then nobody else needs to see it).
  bool handle(QEvent& event);
  /// Ends every touch that is under way as cancelled: the window has lost its input.
  void cancelTouches();

 private:
  void handleMouse(const QMouseEvent& event);
  void handleTouch(const QTouchEvent& event);
  void send(int identifier, UITouchPhase phase, CGPoint location);

  Strong<UIWindow> target_;
  std::map<int, CGPoint> touches_;  ///< those under way, with their last place
};
