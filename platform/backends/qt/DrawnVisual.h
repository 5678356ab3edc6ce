#pragma once

#include "platform/backends/qt/LayerVisual.h"

class PictureItem;

/// A visual that is painted anew, pixel by pixel at the window's scale, whenever its layer changes.
class DrawnVisual : public LayerVisual {
 public:
  void update(CALayer& layer) override;

 protected:
  explicit DrawnVisual(LayerItem& host);
  /// Paints the layer, in points, on nothing.
  virtual void paint(QPainter& painter, const CALayer& layer) = 0;

 private:
  PictureItem* item_;
};
