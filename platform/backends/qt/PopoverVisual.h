#pragma once

#include "platform/backends/qt/LayerVisual.h"
#include "platform/backends/qt/PictureItem.h"

/// The bubble of a UIPopoverBackgroundView with its arrow and a soft shadow, which both stick out of the layer.
class PopoverVisual : public LayerVisual {
 public:
  explicit PopoverVisual(LayerItem& host);
  void update(CALayer& layer) override;

 private:
  PictureItem* item_;
};
