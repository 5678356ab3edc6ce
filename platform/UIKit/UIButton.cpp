#include "platform/UIKit/UIButton.h"

ZV_REGISTER_CLASS(UIButton, "UIButton", UIControl, {})

namespace {

const Strong<UIImage> noImage;

}  // namespace

void UIButton::setImage_forState(const Strong<UIImage>& image, UIControlState state) {
  images_[state] = image;
  setNeedsDisplay();
}

const Strong<UIImage>& UIButton::imageForState(UIControlState state) const {
  const auto image = images_.find(state);
  return image == images_.end() ? noImage : image->second;
}

const Strong<UIImage>& UIButton::currentImage() const {
  if (isHighlighted()) {
    if (const auto& image = imageForState(UIControlStateHighlighted)) return image;
  }
  return imageForState(UIControlStateNormal);
}

CGSize UIButton::sizeThatFits() const {
  const auto& image = imageForState(UIControlStateNormal);
  return image ? image->size() : CGSizeZero;
}

std::vector<UIAccessibilityElement> UIButton::accessibilityElements() {
  auto elements = UIControl::accessibilityElements();
  for (auto& element : elements) element.focusRingRadius = bounds().size.height;  // round, as its picture
  return elements;
}

void UIButton::setHighlighted(bool highlighted) {
  UIControl::setHighlighted(highlighted);
}
