#include "platform/backends/qt/RoundedFill.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGRectangleNode>
#include <QSGTexture>
#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace {

/// The squares that the corners lie in.
std::array<QRectF, 4> corners(const RoundedClip& clip) {
  const QRectF& all = clip.rect;
  const qreal r = clip.radius;
  return {QRectF(all.left(), all.top(), r, r), QRectF(all.right() - r, all.top(), r, r),
          QRectF(all.left(), all.bottom() - r, r, r), QRectF(all.right() - r, all.bottom() - r, r, r)};
}

}  // namespace

bool RoundedClip::cuts(const QRectF& part) const {
  if (radius <= 0) {
    return false;
  }
  const auto squares = corners(*this);
  return std::any_of(squares.begin(), squares.end(), [&](const QRectF& square) { return square.intersects(part); });
}

void RoundedClip::cut(QImage& image, const QRectF& place) const {
  QPainterPath path;
  path.addRoundedRect(rect.translated(-place.topLeft()), radius, radius);
  QImage mask(image.size(), QImage::Format_ARGB32_Premultiplied);
  mask.fill(Qt::transparent);
  QPainter painter(&mask);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.scale(image.width() / place.width(), image.height() / place.height());
  painter.fillPath(path, Qt::black);
  painter.end();
  image = std::move(image).convertToFormat(QImage::Format_ARGB32_Premultiplied);
  QPainter cutter(&image);
  cutter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
  cutter.drawImage(QPoint(0, 0), mask);
}

RoundedFill::RoundedFill(QQuickWindow& window, const QRectF& rect, const QColor& color, const RoundedClip& clip,
                         qreal ratio) {
  const bool isOpaque = color.alpha() == 255;
  // What dims has to cover the smooth edges of what it lies on, or they shine through.
  const RoundedClip outline = isOpaque ? clip : clip.widened(0.5 / ratio);
  const QRectF inside = rect & clip.rect;
  const QRectF between = clip.rect.adjusted(clip.radius, 0, -clip.radius, 0);
  const QRectF middle = clip.rect.adjusted(0, clip.radius, 0, -clip.radius);
  addRectangle(window, inside & middle, color);
  if (isOpaque) {
    addRectangle(window, inside & between, color);
  } else {
    addRectangle(window, inside & QRectF(between.topLeft(), QPointF(between.right(), middle.top())), color);
    addRectangle(window, inside & QRectF(QPointF(between.left(), middle.bottom()), between.bottomRight()), color);
  }
  // The software renderer counts in whole points: where an opaque rectangle begins within one, it may draw what is
  // behind over it. So the opaque pieces overlap by more than a point.
  const qreal overlap = isOpaque ? std::ceil(ratio) / ratio : 0;
  for (const QRectF& square : corners(clip)) {
    const QRectF part = inside & square.adjusted(-overlap, -overlap, overlap, overlap);
    QImage picture((part.size() * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
    if (picture.isNull()) {
      continue;
    }
    picture.fill(color);
    outline.cut(picture, part);
    addPicture(window, part, picture);
  }
}

void RoundedFill::addRectangle(QQuickWindow& window, const QRectF& rect, const QColor& color) {
  if (rect.isEmpty()) {
    return;
  }
  QSGRectangleNode* node = window.createRectangleNode();
  node->setRect(rect);
  node->setColor(color);
  appendChildNode(node);
}

void RoundedFill::addPicture(QQuickWindow& window, const QRectF& rect, const QImage& picture) {
  QSGImageNode* node = window.createImageNode();
  node->setOwnsTexture(true);
  node->setTexture(window.createTextureFromImage(picture, QQuickWindow::TextureHasAlphaChannel));
  node->setFiltering(QSGTexture::Nearest);
  node->setRect(rect);
  node->setSourceRect(QRectF(QPointF(0, 0), QSizeF(picture.size())));
  appendChildNode(node);
}
