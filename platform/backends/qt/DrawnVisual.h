#pragma once

#include "platform/backends/qt/LayerVisual.h"

class PictureItem;
class QPainter;

/// A visual that is painted anew, pixel by pixel at the window's scale, whenever its layer changes.
class DrawnVisual : public LayerVisual {
 public:
  void update(CALayer& layer) override;

 protected:
  /// `margin`: how far what is painted may stick out of the layer on each side, in points.
  explicit DrawnVisual(LayerItem& host, qreal margin = 0);
  /// Paints the layer, in points, on nothing.
  virtual void paint(QPainter& painter, const CALayer& layer) = 0;
  /// Whether there is nothing to paint; it then takes no memory.
  virtual bool isEmpty(const CALayer& layer) const;

 private:
  PictureItem* item_;
  qreal margin_;
};
