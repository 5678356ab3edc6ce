#pragma once

#include <QImage>
#include <QQuickItem>

/// Shows a picture in the whole item. Where the picture has as many pixels as the item, each comes out unchanged.
class PictureItem : public QQuickItem {
  Q_OBJECT
 public:
  explicit PictureItem(QQuickItem* parent);

  const QImage& image() const { return image_; }
  void setImage(const QImage& image);
  /// Draws it once more although it is the same.
  void repaint();

 protected:
  QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;

 private:
  QImage image_;
  bool changed_ = false;
  bool repaint_ = false;
};
