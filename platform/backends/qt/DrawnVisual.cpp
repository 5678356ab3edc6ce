#include "platform/backends/qt/DrawnVisual.h"

#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/PictureItem.h"

#include <QPainter>

DrawnVisual::DrawnVisual(LayerItem& host) : LayerVisual(host), item_(new PictureItem(&host)) {}

void DrawnVisual::update(CALayer& layer) {
  const qreal ratio = host().pixelRatio();
  item_->setSize(host().size());
  QImage picture((host().size() * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
  picture.fill(Qt::transparent);
  if (!picture.isNull()) {
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(ratio, ratio);
    paint(painter, layer);
  }
  item_->setImage(picture);
}
