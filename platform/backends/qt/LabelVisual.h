#pragma once

#include "platform/backends/qt/LayerVisual.h"

class TextItem;

/// The text of a label.
class LabelVisual : public LayerVisual {
 public:
  explicit LabelVisual(LayerItem& host);
  void update(CALayer& layer) override;

 private:
  TextItem* item_;
};
