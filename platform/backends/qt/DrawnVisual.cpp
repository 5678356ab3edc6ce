#include "platform/backends/qt/DrawnVisual.h"

#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/PictureItem.h"

#include <QPainter>
#include <cmath>

DrawnVisual::DrawnVisual(LayerItem& host, qreal margin)
    : LayerVisual(host), item_(new PictureItem(&host)), margin_(margin) {}

bool DrawnVisual::isEmpty(const CALayer& /*layer*/) const {
  return false;
}

void DrawnVisual::update(CALayer& layer) {
  const qreal ratio = host().pixelRatio();
  // On whole pixels also where a point is a fraction of them.
  const qreal margin = std::round(margin_ * ratio) / ratio;
  const QSizeF size = host().size() + QSizeF(2 * margin, 2 * margin);
  item_->setPosition({-margin, -margin});
  item_->setSize(size);
  const QSize pixels = (size * ratio).toSize();
  if (pixels.isEmpty() || isEmpty(layer)) {
    item_->setImage({});
    return;
  }
  QImage picture(pixels, QImage::Format_ARGB32_Premultiplied);
  picture.fill(Qt::transparent);
  QPainter painter(&picture);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.scale(ratio, ratio);
  painter.translate(margin, margin);
  paint(painter, layer);
  painter.end();
  item_->setImage(picture);
}
