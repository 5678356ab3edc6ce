#pragma once

#include "platform/backends/qt/LayerVisual.h"

class BackdropItem;

/// The blur of a backdrop view, cut by the view's mask views.
class BackdropVisual : public LayerVisual {
 public:
  explicit BackdropVisual(LayerItem& host);
  void update(CALayer& layer) override;
  /// The mask views move and change without the backdrop's own layer.
  bool updatesAlways() const override { return true; }

 private:
  BackdropItem* item_;
};
