#pragma once

#include "platform/backends/qt/DrawnVisual.h"

/// The groove of a switch: green when it is on.
class SwitchVisual : public DrawnVisual {
 public:
  explicit SwitchVisual(LayerItem& host) : DrawnVisual(host) {}

 private:
  void paint(QPainter& painter, const CALayer& layer) override;
};

/// Its round white knob.
class SwitchKnobVisual : public DrawnVisual {
 public:
  explicit SwitchKnobVisual(LayerItem& host) : DrawnVisual(host) {}

 private:
  void paint(QPainter& painter, const CALayer& layer) override;
};
