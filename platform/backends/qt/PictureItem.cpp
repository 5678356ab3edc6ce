#include "platform/backends/qt/PictureItem.h"

#include <QQuickWindow>
#include <QSGImageNode>
#include <QSGTexture>
#include <utility>

PictureItem::PictureItem(QQuickItem* parent) : QQuickItem(parent) {
  setFlag(ItemHasContents);
}

void PictureItem::setImage(const QImage& image) {
  image_ = image;
  changed_ = true;
  update();
}

void PictureItem::repaint() {
  repaint_ = true;
  update();
}

QSGNode* PictureItem::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
  auto* node = static_cast<QSGImageNode*>(old);
  if (image_.isNull() || width() <= 0 || height() <= 0) {
    delete node;
    return nullptr;
  }
  if (!node) {
    node = window()->createImageNode();
    node->setOwnsTexture(true);
    changed_ = true;
  }
  if (changed_) {
    changed_ = false;
    const auto options =
        image_.hasAlphaChannel() ? QQuickWindow::TextureHasAlphaChannel : QQuickWindow::TextureIsOpaque;
    node->setTexture(window()->createTextureFromImage(image_, options));
  }
  const QSize shownPixels = (size() * window()->effectiveDevicePixelRatio()).toSize();
  node->setFiltering(shownPixels == image_.size() ? QSGTexture::Nearest : QSGTexture::Linear);
  node->setRect(boundingRect());
  node->setSourceRect(QRectF(QPointF(0, 0), QSizeF(image_.size())));
  if (std::exchange(repaint_, false)) {
    node->markDirty(QSGNode::DirtyMaterial);
  }
  return node;
}
