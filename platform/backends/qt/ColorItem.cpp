#include "platform/backends/qt/ColorItem.h"

#include <QQuickWindow>
#include <QSGRectangleNode>

ColorItem::ColorItem(QQuickItem* parent, const QColor& color) : QQuickItem(parent), color_(color) {
  setFlag(ItemHasContents);
}

QSGNode* ColorItem::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
  auto* node = static_cast<QSGRectangleNode*>(old);
  if (!node) {
    node = window()->createRectangleNode();
  }
  node->setRect(boundingRect());
  node->setColor(color_);
  return node;
}
