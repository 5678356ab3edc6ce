#pragma once

#include "platform/backends/qt/LayerVisual.h"

class QQuickItem;

/// One line of text (Label.qml).
class LabelVisual : public LayerVisual {
 public:
  explicit LabelVisual(LayerItem& host);
  void update(CALayer& layer) override;

 private:
  QQuickItem* item_;
};
