#pragma once

#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIView.h"

/// Shows one picture, stretched to the view. Takes no touches unless told to.
class UIImageView : public UIView {
  ZV_OBJECT(UIImageView)
 public:
  UIImageView();
  /// As large as the image, at the origin; a null image gives a zero frame.
  static Strong<UIImageView> initWithImage(const Strong<UIImage>& image);
  const Strong<UIImage>& image() const { return image_; }
  void setImage(const Strong<UIImage>& image);
  const char* visualKind() const override { return "image"; }
  CGSize sizeThatFits() const override { return image_ ? image_->size() : CGSizeZero; }

 private:
  Strong<UIImage> image_;
};
