#include "platform/backends/qt/VectorImage.h"

#include <QPainter>

QImage VectorImage::draw(QSize pixels) {
  QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  if (!image.isNull() && renderer_.isValid()) {
    QPainter painter(&image);
    renderer_.render(&painter, QRectF(QPointF(0, 0), QSizeF(pixels)));
  }
  return image;
}
