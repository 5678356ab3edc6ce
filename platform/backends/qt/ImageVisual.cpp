#include "platform/backends/qt/ImageVisual.h"

#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/PictureItem.h"
#include "platform/backends/qt/QtConversions.h"

#include <cmath>

namespace {

Strong<UIImage> imageOf(const CALayer& layer) {
  if (const auto* imageView = dynamic_cast<const UIImageView*>(layer.view())) {
    return imageView->image();
  }
  if (const auto* button = dynamic_cast<const UIButton*>(layer.view())) {
    return button->currentImage();
  }
  return nullptr;
}

}  // namespace

ImageVisual::ImageVisual(LayerItem& host) : LayerVisual(host), item_(new PictureItem(&host)) {}

void ImageVisual::update(CALayer& layer) {
  const Strong<UIImage> image = imageOf(layer);
  const QImage picture = image ? toQImage(image->CGImage()) : QImage();
  if (picture.constBits() != item_->image().constBits() || picture.isNull()) {
    item_->setImage(picture);
  }
  // A frame that is a fraction of a pixel off the picture's own size is not worth blurring it for.
  const QSizeF exact = QSizeF(picture.size()) / host().pixelRatio();
  const QSizeF off = (host().size() - exact) * host().pixelRatio();
  item_->setSize(std::abs(off.width()) <= 1 && std::abs(off.height()) <= 1 ? exact : host().size());
}

LayerVisual::Picture ImageVisual::pictureBehind() const {
  return {item_->image(), QRectF(QPointF(0, 0), item_->size()), item_->image().cacheKey()};
}
