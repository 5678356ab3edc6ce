#pragma once

#include <memory>
#include <string_view>

class LayerItem;
class LayerVisual;

/// The one place that knows which visual shows which kind of layer.
class VisualFactory {
 public:
  /// The visual for a layer's `visualKind`, or null for one that is no more than a rectangle.
  static std::unique_ptr<LayerVisual> make(std::string_view kind, LayerItem& host);
};
