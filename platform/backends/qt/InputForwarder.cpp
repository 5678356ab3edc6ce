#include "platform/backends/qt/InputForwarder.h"

#include "platform/backends/qt/KeyNames.h"
#include "platform/backends/qt/QtConversions.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QTouchEvent>
#include <chrono>

namespace {
constexpr int kMouse = 0;
constexpr int kFirstFinger = 1;
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

bool InputForwarder::handle(QEvent& event) {
  switch (event.type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
      handleMouse(static_cast<QMouseEvent&>(event));
      break;
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TouchCancel:
      handleTouch(static_cast<QTouchEvent&>(event));
      break;
    case QEvent::Leave:
      if (target_) {
        target_->sendHover(std::nullopt);
      }
      return false;
    case QEvent::KeyPress: {
      const auto& press = static_cast<QKeyEvent&>(event);
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
