#pragma once

#include "platform/backends/qt/DrawnVisual.h"

/// The bubble of a UIPopoverBackgroundView with its arrow and a soft shadow, which both stick out of the layer.
class PopoverVisual : public DrawnVisual {
 public:
  explicit PopoverVisual(LayerItem& host);

 private:
  void paint(QPainter& painter, const CALayer& layer) override;
};
