#pragma once

#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIView.h"

#include <optional>
#include <string>

class UITextInputView;

/// What a person does in a text input. Main queue.
class UITextInputDelegate {
 public:
  virtual ~UITextInputDelegate() = default;
  virtual void textInputDidBeginEditing(UITextInputView& input) { (void)input; }
  virtual void textInputDidEndEditing(UITextInputView& input) { (void)input; }
  /// The person has changed the text (not a setter). Text that an input method still composes is not in it yet.
  virtual void textInputDidChange(UITextInputView& input) { (void)input; }
};

/// Where a person types: base of UITextField and UITextView. Main queue only.
///
/// A press, or the keyboard's focus, makes it the first responder. As long as it is that, the back end's own text item
/// gets the keyboard, input methods and the mouse, with selection, clipboard and undo, and what is typed comes back
/// here. Tab and Escape are kept for the window: Tab goes on to the next element, Escape ends the typing.
class UITextInputView : public UIView {
  ZV_OBJECT(UITextInputView)
 public:
  const std::string& text() const { return text_; }  ///< UTF-8
  void setText(std::string text);
  /// Shown greyed while there is no text.
  const std::string& placeholder() const { return placeholder_; }
  void setPlaceholder(std::string placeholder);
  const UIFont& font() const { return font_; }
  void setFont(UIFont font);
  /// What can be typed or pasted at most, in UTF-16 units as services count them; 0 means no limit.
  int maximumLength() const { return maximumLength_; }
  void setMaximumLength(int length);
  bool isEnabled() const { return enabled_; }
  void setEnabled(bool enabled);
  /// Whether what is there can be changed, and not only selected and copied.
  bool isEditable() const { return editable_; }
  void setEditable(bool editable);
  UITextInputDelegate* delegate() const { return delegate_; }
  /// Not owned.
  void setDelegate(UITextInputDelegate* delegate) { delegate_ = delegate; }
  virtual bool isMultiline() const = 0;

  bool canBecomeFirstResponder() override { return enabled_; }
  bool becomeFirstResponder() override;
  bool resignFirstResponder() override;
  void handleTouch(const UITouch& touch) override;
  void didGainFocus(CGRect frame) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;

  // For the back end.
  /// What was typed.
  void takeTypedText(std::string text);
  /// Return in a single line: the typing is over.
  void returnPressed();
  /// The cursor has moved; in this view's coordinates. It is kept in sight.
  void caretMoved(CGRect caret);
  /// Where a finger has tapped, for the cursor to be put there; once.
  std::optional<CGPoint> takeCaretRequest();

 protected:
  UITextInputView() = default;
  void didMoveToWindow() override;
  virtual void textDidChange() {}
  /// Of the line around the text, see UIAccessibilityElement.
  virtual UIEdgeInsets focusRingInsets() const = 0;

 private:
  std::string text_, placeholder_;
  UIFont font_;
  int maximumLength_ = 0;
  bool enabled_ = true, editable_ = true;
  UITextInputDelegate* delegate_ = nullptr;
  struct Tap {
    int identifier;
    CGPoint start;
  };
  std::optional<Tap> tap_;
  std::optional<CGPoint> caretRequest_;
};
