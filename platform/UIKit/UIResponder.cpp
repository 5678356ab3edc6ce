#include "platform/UIKit/UIResponder.h"

namespace {

Weak<UIResponder>& current() {
  static auto& responder = *new Weak<UIResponder>;
  return responder;
}

}  // namespace

bool UIResponder::becomeFirstResponder() {
  if (isFirstResponder()) return true;
  if (!canBecomeFirstResponder()) return false;
  const auto self = std::static_pointer_cast<UIResponder>(weak_from_this().lock());
  if (!self) return false;
  if (const auto old = current().lock(); old && !old->resignFirstResponder()) return false;
  current() = self;
  return true;
}

bool UIResponder::resignFirstResponder() {
  if (isFirstResponder()) current().reset();
  return true;
}

bool UIResponder::isFirstResponder() const {
  return current().lock().get() == this;
}

Strong<UIResponder> UIResponder::firstResponder() {
  return current().lock();
}

void UIResponder::motionEnded_withEvent(UIEventSubtype motion, const UIEvent& event) {
  if (UIResponder* next = nextResponder()) next->motionEnded_withEvent(motion, event);
}
