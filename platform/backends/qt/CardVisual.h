#pragma once

#include "platform/backends/qt/DrawnVisual.h"

/// The rounded rectangle of a UICardView.
class CardVisual : public DrawnVisual {
 public:
  explicit CardVisual(LayerItem& host) : DrawnVisual(host) {}

 private:
  void paint(QPainter& painter, const CALayer& layer) override;
  bool isEmpty(const CALayer& layer) const override;
};
