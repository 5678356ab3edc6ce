#pragma once

#include "platform/backends/qt/LayerMirror.h"
#include "platform/backends/qt/PictureItem.h"

#include <vector>

class LayerItem;

/// A blurred and whitened picture of what lies behind its layer, made anew only when that has changed.
class BackdropItem : public PictureItem {
  Q_OBJECT
 public:
  explicit BackdropItem(LayerItem& host);
  ~BackdropItem() override;

  /// A picture that cuts the backdrop: nothing is left where the picture is opaque. Place in the item, in points.
  struct Cut {
    QImage shape;
    QRectF place;
    bool operator==(const Cut& other) const {
      return shape.constBits() == other.shape.constBits() && place == other.place;
    }
  };
  void setCuts(std::vector<Cut> cuts);

  /// Looks again before the next frame, if the item is on screen.
  void behindMayHaveChanged();

 protected:
  void updatePolish() override;
  void itemChange(ItemChange change, const ItemChangeData& data) override;
  void geometryChange(const QRectF& now, const QRectF& before) override;

 private:
  LayerItem& host_;
  LayerMirror& mirror_;
  std::vector<Cut> cuts_;
  std::vector<LayerMirror::Behind> shown_;
  QRectF shownPlace_;
  bool cutsChanged_ = false;
};
