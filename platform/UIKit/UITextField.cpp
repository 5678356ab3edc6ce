#include "platform/UIKit/UITextField.h"

#include <cmath>

ZV_REGISTER_CLASS(UITextField, "UITextField", UITextInputView, {})

UIEdgeInsets UITextField::focusRingInsets() const {
  constexpr CGFloat padding = 6, beside = 7;  // points, around the text, which is in the middle of the height
  const CGFloat line = std::ceil(UITextSize("A", font()).height);
  const CGFloat inset = std::floor((bounds().size.height - line) / 2 - padding);
  return {inset, -beside, inset, -beside};
}
