#pragma once

#include "platform/UIKit/UICardView.h"
#include "platform/backends/qt/LayerVisual.h"
#include "platform/backends/qt/PictureItem.h"

/// The rounded rectangle of a UICardView, drawn at the window's own pixels.
class CardVisual : public LayerVisual {
 public:
  explicit CardVisual(LayerItem& host);
  void update(CALayer& layer) override;

 private:
  PictureItem* item_;
};
