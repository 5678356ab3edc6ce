#pragma once

#include "platform/QuartzCore/CALayer.h"
#include "platform/backends/qt/RoundedFill.h"

#include <QColor>
#include <QQuickItem>
#include <memory>

class LayerMirror;
class LayerVisual;

/// The Quick item that stands for one layer: its place, opacity and background colour. The visual's items are its first
/// children, the sublayers' items the others. Lies on whole pixels, so that what is in it is crisp.
class LayerItem : public QQuickItem {
  Q_OBJECT
 public:
  LayerItem(LayerMirror& mirror, CALayer& layer);
  ~LayerItem() override;

  LayerMirror& mirror() const { return mirror_; }
  Strong<CALayer> layer() const { return layer_.lock(); }
  LayerVisual* visual() const { return visual_.get(); }
  const QColor& backgroundColor() const { return background_; }
  /// How many child items belong to the visual; they come before those of the sublayers.
  int visualItemCount() const { return visualItemCount_; }
  /// Pixels in a point.
  qreal pixelRatio() const;
  /// Where the layer's origin would lie in the window without being moved to a whole pixel; in points.
  QPointF exactOrigin() const { return exactOrigin_; }
  /// The item's own origin in the window; in points.
  QPointF pixelOrigin() const { return pixelOrigin_; }

  /// What cuts the layer and its sublayers; in the window.
  const RoundedClip& clip() const { return clip_; }

  /// Takes over the layer's values; `parent` is the superlayer's item (null for the root).
  void takeOver(CALayer& layer, const LayerItem* parent);

 protected:
  QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;

 private:
  void putVisualItemsFirst();

  LayerMirror& mirror_;
  Weak<CALayer> layer_;
  QColor background_ = Qt::transparent;
  QPointF exactOrigin_, pixelOrigin_;
  RoundedClip clip_, ownClip_;  // ownClip_: the same in the item
  unsigned shownVersion_ = 0;
  QSizeF shownSize_;
  qreal shownRatio_ = 0;
  int visualItemCount_ = 0;
  std::unique_ptr<LayerVisual> visual_;
};
