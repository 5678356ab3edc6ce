#include "platform/backends/qt/InputForwarder.h"

#include "platform/UIKit/UITextInputView.h"
#include "platform/backends/qt/KeyNames.h"
#include "platform/backends/qt/QtConversions.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QTouchEvent>
#include <QWheelEvent>
#include <chrono>

namespace {
constexpr int kMouse = 0;
constexpr int kFirstFinger = 1;
constexpr qreal kPointsPerNotch = 48;
constexpr qreal kEighthsPerNotch = 120;  // of a degree
}  // namespace

void InputForwarder::setTarget(const Strong<UIWindow>& target) {
  if (target != target_) {
    cancelTouches();
    target_ = target;
  }
}

void InputForwarder::send(int identifier, UITouchPhase phase, CGPoint location) {
  if (phase == UITouchPhase::Began || phase == UITouchPhase::Moved) {
    touches_[identifier] = location;
  } else {
    touches_.erase(identifier);
  }
  if (const Strong<UIWindow> target = target_) {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    target->sendTouch({identifier, phase, location, std::chrono::duration<double>(now).count()});
  }
}

void InputForwarder::cancelTouches() {
  while (!touches_.empty()) {
    const auto [identifier, location] = *touches_.begin();
    send(identifier, UITouchPhase::Cancelled, location);
  }
}

void InputForwarder::handleMouse(const QMouseEvent& event) {
  const CGPoint location = toCGPoint(event.position());
  const bool isDown = touches_.count(kMouse) != 0;
  switch (event.type()) {
    case QEvent::MouseButtonPress:
      if (event.button() == Qt::LeftButton && !isDown) {
        send(kMouse, UITouchPhase::Began, location);
      }
      break;
    case QEvent::MouseMove:
      if (isDown && !event.buttons().testFlag(Qt::LeftButton)) {
        send(kMouse, UITouchPhase::Ended, location);  // the release went elsewhere
      } else if (isDown) {
        send(kMouse, UITouchPhase::Moved, location);
      } else if (target_) {
        target_->sendHover(location);
      }
      break;
    case QEvent::MouseButtonRelease:
      if (event.button() == Qt::LeftButton && isDown) {
        send(kMouse, UITouchPhase::Ended, location);
      }
      break;
    default:  // a double click has come as two presses already
      break;
  }
}

void InputForwarder::handleTouch(const QTouchEvent& event) {
  if (event.type() == QEvent::TouchCancel) {
    cancelTouches();
    return;
  }
  for (const QEventPoint& point : event.points()) {
    const int identifier = kFirstFinger + point.id();
    const CGPoint location = toCGPoint(point.position());
    switch (point.state()) {
      case QEventPoint::Pressed:
        send(identifier, UITouchPhase::Began, location);
        break;
      case QEventPoint::Updated:
        send(identifier, UITouchPhase::Moved, location);
        break;
      case QEventPoint::Released:
        send(identifier, UITouchPhase::Ended, location);
        break;
      default:
        break;
    }
  }
}

void InputForwarder::handleWheel(const QWheelEvent& event) {
  if (!target_) {
    return;
  }
  const QPointF moved = event.pixelDelta().isNull() ? QPointF(event.angleDelta()) / kEighthsPerNotch * kPointsPerNotch
                                                    : QPointF(event.pixelDelta());
  Strong<UIView> view = target_->hitTest(toCGPoint(event.position()));
  while (view && !view->handleScroll(toCGPoint(-moved))) {
    view = view->superview();
  }
}

Strong<UITextInputView> InputForwarder::textInputAt(QPointF location) const {
  const auto input =
      target_ ? std::dynamic_pointer_cast<UITextInputView>(target_->hitTest(toCGPoint(location))) : nullptr;
  return input && input->isEnabled() ? input : nullptr;
}

bool InputForwarder::belongsToText(const QMouseEvent& event) {
  if (event.type() == QEvent::MouseMove) {
    isOverText_ = textHasMouse_ || (touches_.empty() && textInputAt(event.position()));
  }
  if (textHasMouse_) {
    textHasMouse_ = event.type() != QEvent::MouseButtonRelease || event.buttons() != Qt::NoButton;
    return true;
  }
  if (event.type() != QEvent::MouseButtonPress || !touches_.empty()) {
    return false;
  }
  const auto input = textInputAt(event.position());
  if (!input || !input->becomeFirstResponder()) {
    return false;
  }
  if (prepareText_) {
    prepareText_();
  }
  textHasMouse_ = true;
  return true;
}

bool InputForwarder::belongsToText(const QKeyEvent& event) {
  const auto input = std::dynamic_pointer_cast<UITextInputView>(UIResponder::firstResponder());
  if (!input || !target_ || input->window() != target_.get()) {
    return false;
  }
  if (event.key() == Qt::Key_Tab || event.key() == Qt::Key_Backtab || event.key() == Qt::Key_Escape) {
    return false;
  }
  if (prepareText_) {
    prepareText_();
  }
  return true;
}

bool InputForwarder::handle(QEvent& event) {
  switch (event.type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
      if (belongsToText(static_cast<QMouseEvent&>(event))) {
        return false;
      }
      handleMouse(static_cast<QMouseEvent&>(event));
      break;
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TouchCancel:
      handleTouch(static_cast<QTouchEvent&>(event));
      break;
    case QEvent::Wheel:
      handleWheel(static_cast<QWheelEvent&>(event));
      break;
    case QEvent::Leave:
      if (target_) {
        target_->sendHover(std::nullopt);
      }
      return false;
    case QEvent::KeyPress: {
      const auto& press = static_cast<QKeyEvent&>(event);
      if (belongsToText(press)) {
        return false;
      }
      if (press.isAutoRepeat() && !KeyNames::mayRepeat(press)) {
        event.accept();
        return true;
      }
      const auto key = KeyNames::fromEvent(press);
      event.setAccepted(key && target_ && target_->sendKey(*key));
      return true;
    }
    default:
      return false;
  }
  event.accept();
  return true;
}
