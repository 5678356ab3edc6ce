#include "platform/UIKit/UIImage.h"

CGSize UIImage::size() const {
  if (!image_ || scale_ <= 0) return CGSizeZero;
  return {static_cast<CGFloat>(image_->width) / scale_, static_cast<CGFloat>(image_->height) / scale_};
}
