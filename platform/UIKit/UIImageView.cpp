#include "platform/UIKit/UIImageView.h"

ZV_REGISTER_CLASS(UIImageView, "UIImageView", UIView, {})

UIImageView::UIImageView() {
  setUserInteractionEnabled(false);
}

Strong<UIImageView> UIImageView::initWithImage(const Strong<UIImage>& image) {
  auto view = std::make_shared<UIImageView>();
  view->setImage(image);
  view->sizeToFit();
  return view;
}

void UIImageView::setImage(const Strong<UIImage>& image) {
  if (image == image_) return;
  image_ = image;
  setNeedsDisplay();
}
