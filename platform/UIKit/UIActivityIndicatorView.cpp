#include "platform/UIKit/UIActivityIndicatorView.h"

#include "platform/UIKit/UIKitStrings.h"

ZV_REGISTER_CLASS(UIActivityIndicatorView, "UIActivityIndicatorView", UIView, {})

UIActivityIndicatorView::UIActivityIndicatorView() {
  setUserInteractionEnabled(false);
  sizeToFit();
}

Strong<UIActivityIndicatorView> UIActivityIndicatorView::initWithActivityIndicatorStyle(
    UIActivityIndicatorViewStyle style) {
  auto self = std::make_shared<UIActivityIndicatorView>();
  self->style_ = style;
  self->sizeToFit();
  return self;
}

CGSize UIActivityIndicatorView::sizeThatFits() const {
  return style_ == UIActivityIndicatorViewStyle::WhiteLarge ? CGSizeMake(37, 37) : CGSizeMake(20, 20);
}

void UIActivityIndicatorView::setAnimating(bool animating) {
  if (animating == animating_) return;
  animating_ = animating;
  setNeedsDisplay();
}

std::vector<UIAccessibilityElement> UIActivityIndicatorView::accessibilityElements() {
  if (!animating_) return {};
  UIAccessibilityElement element;
  element.label = accessibilityLabel().empty() ? UIKitLocalizedString("In progress") : accessibilityLabel();
  element.role = UIAccessibilityRole::ProgressBar;
  element.frame = bounds();
  return {element};
}
