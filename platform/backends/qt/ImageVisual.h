#pragma once

#include "platform/backends/qt/LayerVisual.h"

class PictureItem;

/// The picture of an image view, or of a button in its present state.
class ImageVisual : public LayerVisual {
 public:
  explicit ImageVisual(LayerItem& host);
  void update(CALayer& layer) override;
  Picture pictureBehind() const override;

 private:
  PictureItem* item_;
};
