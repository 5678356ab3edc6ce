#pragma once

#include "platform/UIKit/UITextInputView.h"

/// One line to type in; what does not fit is scrolled sideways, and ends in an ellipsis while nobody types. Return ends
/// the typing. Main queue only.
class UITextField : public UITextInputView {
  ZV_OBJECT(UITextField)
 public:
  bool isMultiline() const override { return false; }
  const char* visualKind() const override { return "textfield"; }

 protected:
  UIEdgeInsets focusRingInsets() const override;
};
