#pragma once

#include "platform/UIKit/UIWindow.h"

#include <QPointF>
#include <functional>
#include <map>

class QEvent;
class QKeyEvent;
class QMouseEvent;
class QTouchEvent;
class QWheelEvent;
class UITextInputView;

/// Turns the window's mouse, touch and key events into those of the views. The mouse is finger 0, real fingers count
/// from 1. Main thread.
///
/// What belongs to typing goes on to Quick, whose text items carry it out: the keys while a text input is the first
/// responder, but for Tab and Escape, and what the mouse does from a press in a text input on.
class InputForwarder {
 public:
  /// Null: events are swallowed.
  void setTarget(const Strong<UIWindow>& target);
  /// Called before input goes to a text item, which is then to be as its view is.
  void setTextPreparation(std::function<void()> prepare) { prepareText_ = std::move(prepare); }
  /// Whether the pointer is over text that can be typed in.
  bool isOverText() const { return isOverText_; }
  /// Whether the event was one of input (then nobody else needs to see it).
  bool handle(QEvent& event);
  /// Ends every touch that is under way as cancelled: the window has lost its input.
  void cancelTouches();

 private:
  void handleMouse(const QMouseEvent& event);
  void handleTouch(const QTouchEvent& event);
  void handleWheel(const QWheelEvent& event);
  /// Whether it is a text item's.
  bool belongsToText(const QMouseEvent& event);
  bool belongsToText(const QKeyEvent& event);
  Strong<UITextInputView> textInputAt(QPointF location) const;
  void send(int identifier, UITouchPhase phase, CGPoint location);

  Strong<UIWindow> target_;
  std::function<void()> prepareText_;
  bool textHasMouse_ = false;  ///< until the button is let go
  bool isOverText_ = false;
  std::map<int, CGPoint> touches_;  ///< those under way, with their last place
};
