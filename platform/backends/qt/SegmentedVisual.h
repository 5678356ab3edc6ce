#pragma once

#include "platform/backends/qt/DrawnVisual.h"

/// The words of a segmented control, the chosen one on white.
class SegmentedVisual : public DrawnVisual {
 public:
  explicit SegmentedVisual(LayerItem& host) : DrawnVisual(host) {}

 private:
  void paint(QPainter& painter, const CALayer& layer) override;
};
