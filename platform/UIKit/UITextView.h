#pragma once

#include "platform/UIKit/UITextInputView.h"

#include <functional>

/// Several lines to type in, as high as they need. Main queue only.
class UITextView : public UITextInputView {
  ZV_OBJECT(UITextView)
 public:
  bool isMultiline() const override { return true; }
  const char* visualKind() const override { return "textview"; }
  /// What the lines need in the present width, at least one line.
  CGSize sizeThatFits() const override;
  /// Called when the text has changed and with it, perhaps, the height that it needs.
  void setHeightHandler(std::function<void()> handler) { heightHandler_ = std::move(handler); }

 protected:
  void textDidChange() override;
  UIEdgeInsets focusRingInsets() const override;

 private:
  std::function<void()> heightHandler_;
};
