#include "platform/UIKit/UITextInputView.h"

#include "platform/UIKit/UIWindow.h"

#include <cmath>
#include <utility>

ZV_REGISTER_CLASS(UITextInputView, "UITextInputView", UIView, {})

namespace {

constexpr float mostMovement = 10;  // points; a finger that goes further scrolls

}  // namespace

void UITextInputView::setText(std::string text) {
  if (text == text_) return;
  text_ = std::move(text);
  setNeedsDisplay();
  textDidChange();
}

void UITextInputView::setPlaceholder(std::string placeholder) {
  if (placeholder == placeholder_) return;
  placeholder_ = std::move(placeholder);
  setNeedsDisplay();
}

void UITextInputView::setFont(UIFont font) {
  if (font == font_) return;
  font_ = font;
  setNeedsDisplay();
}

void UITextInputView::setMaximumLength(int length) {
  if (length == maximumLength_) return;
  maximumLength_ = length;
  setNeedsDisplay();
}

void UITextInputView::setEnabled(bool enabled) {
  if (enabled == enabled_) return;
  enabled_ = enabled;
  if (!enabled) resignFirstResponder();
  setNeedsDisplay();
}

void UITextInputView::setEditable(bool editable) {
  if (editable == editable_) return;
  editable_ = editable;
  setNeedsDisplay();
}

bool UITextInputView::becomeFirstResponder() {
  if (isFirstResponder()) return true;
  if (!UIView::becomeFirstResponder()) return false;
  setNeedsDisplay();
  const auto self = std::static_pointer_cast<UITextInputView>(shared_from_this());
  if (UIWindow* in = window()) in->setFocus(self, accessibilityLabel());
  if (delegate_) delegate_->textInputDidBeginEditing(*this);
  return isFirstResponder();
}

bool UITextInputView::resignFirstResponder() {
  if (!isFirstResponder()) return true;
  const auto keep = shared_from_this();
  if (!UIView::resignFirstResponder()) return false;
  setNeedsDisplay();
  if (delegate_) delegate_->textInputDidEndEditing(*this);
  return true;
}

void UITextInputView::didMoveToWindow() {
  if (!window()) resignFirstResponder();
}

void UITextInputView::handleTouch(const UITouch& touch) {
  switch (touch.phase) {
    case UITouchPhase::Began:
      if (!tap_) tap_ = Tap{touch.identifier, touch.locationInWindow};
      return;
    case UITouchPhase::Moved:
      if (tap_ && tap_->identifier == touch.identifier &&
          std::hypot(touch.locationInWindow.x - tap_->start.x, touch.locationInWindow.y - tap_->start.y) >
              mostMovement) {
        tap_.reset();
      }
      return;
    case UITouchPhase::Cancelled:
    case UITouchPhase::Ended:
      if (!tap_ || tap_->identifier != touch.identifier) return;
      tap_.reset();
      if (touch.phase == UITouchPhase::Cancelled || !becomeFirstResponder()) return;
      caretRequest_ = convertPointFromWindow(touch.locationInWindow);
      setNeedsDisplay();
      return;
  }
}

void UITextInputView::didGainFocus(CGRect frame) {
  UIView::didGainFocus(frame);
  becomeFirstResponder();
}

std::vector<UIAccessibilityElement> UITextInputView::accessibilityElements() {
  UIAccessibilityElement element;
  element.label = accessibilityLabel();
  element.role = UIAccessibilityRole::TextField;
  element.frame = bounds();
  element.enabled = enabled_;
  element.value = text_;
  element.focusRingInsets = focusRingInsets();
  element.activate = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) static_cast<UITextInputView&>(*self).becomeFirstResponder();
  };
  return {element};
}

void UITextInputView::takeTypedText(std::string text) {
  if (text == text_) return;
  const auto keep = shared_from_this();
  text_ = std::move(text);
  textDidChange();
  if (delegate_) delegate_->textInputDidChange(*this);
}

void UITextInputView::returnPressed() {
  if (!isMultiline()) resignFirstResponder();
}

void UITextInputView::caretMoved(CGRect caret) {
  if (isFirstResponder()) UIView::didGainFocus(caret);
}

std::optional<CGPoint> UITextInputView::takeCaretRequest() {
  return std::exchange(caretRequest_, std::nullopt);
}
