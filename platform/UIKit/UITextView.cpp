#include "platform/UIKit/UITextView.h"

#include <algorithm>
#include <cmath>

ZV_REGISTER_CLASS(UITextView, "UITextView", UITextInputView, {})

CGSize UITextView::sizeThatFits() const {
  const CGFloat width = bounds().size.width;
  const std::string& shown = text().empty() ? placeholder() : text();
  const CGFloat line = UITextSize("A", font()).height;
  return {width, std::ceil(std::max(UITextSizeInWidth(shown, font(), std::max(width, 1.0F)).height, line))};
}

UIEdgeInsets UITextView::focusRingInsets() const {
  return {-5, -7, 5, -7};  // the text begins at the upper edge
}

void UITextView::textDidChange() {
  if (heightHandler_) heightHandler_();
}
