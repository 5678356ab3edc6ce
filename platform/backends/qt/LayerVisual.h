#pragma once

#include <QImage>
#include <QRectF>

class CALayer;
class LayerItem;
class QPainter;

/// What one layer shows, beyond its background colour: its text, its picture, ... Made by VisualFactory from the
/// layer's `visualKind`, owned by the layer's item, gone with it. Main thread.
class LayerVisual {
 public:
  virtual ~LayerVisual() = default;
  LayerVisual(const LayerVisual&) = delete;
  LayerVisual& operator=(const LayerVisual&) = delete;

  /// Takes over what the layer shows. Called when the visual is new, and then at each commit in which the layer's
  /// `contentVersion`, its size or the window's scale has changed. The host item has its new size already.
  virtual void update(CALayer& layer) = 0;

  /// Whether `update` is called at every commit, for a visual that depends on more than its own layer.
  virtual bool updatesAlways() const { return false; }

  /// A picture that backdrops in front of this visual can blur, and where it lies in the layer, in points; null when
  /// there is nothing to be seen through a backdrop.
  struct Picture {
    QImage image;
    QRectF place;
    qint64 version = 0;  ///< differs when the pixels differ
  };
  virtual Picture pictureBehind() const { return {}; }

 protected:
  /// `host` is the layer's item; content is added to it as child items, which stand behind the sublayers' items.
  explicit LayerVisual(LayerItem& host) : host_(host) {}
  LayerItem& host() const { return host_; }

 private:
  LayerItem& host_;
};
