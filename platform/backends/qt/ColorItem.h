#pragma once

#include <QColor>
#include <QQuickItem>

/// A rectangle of one colour.
class ColorItem : public QQuickItem {
  Q_OBJECT
 public:
  ColorItem(QQuickItem* parent, const QColor& color);

 protected:
  QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;

 private:
  QColor color_;
};
