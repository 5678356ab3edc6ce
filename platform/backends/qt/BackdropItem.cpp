#include "platform/backends/qt/BackdropItem.h"

#include "platform/backends/qt/BackdropBlur.h"
#include "platform/backends/qt/LayerItem.h"

#include <QPainter>
#include <QQuickWindow>
#include <cmath>

BackdropItem::BackdropItem(LayerItem& host) : PictureItem(&host), host_(host), mirror_(host.mirror()) {
  mirror_.addBackdrop(this);
}

BackdropItem::~BackdropItem() {
  mirror_.removeBackdrop(this);  // the host may be half destroyed by now: it deletes its children
}

void BackdropItem::setCuts(std::vector<Cut> cuts) {
  if (cuts != cuts_) {
    cuts_ = std::move(cuts);
    cutsChanged_ = true;
    behindMayHaveChanged();
  }
}

void BackdropItem::behindMayHaveChanged() {
  if (!isVisible()) {
    return;
  }
  polish();
  // With a fraction of pixels in a point, edges lie beside the pixels by a hair, and the software renderer lets what is
  // behind run over the first row of an opaque picture.
  if (const qreal ratio = mirror_.pixelRatio(); ratio != std::round(ratio)) {
    repaint();
  }
}

void BackdropItem::itemChange(ItemChange change, const ItemChangeData& data) {
  PictureItem::itemChange(change, data);
  if (change == ItemVisibleHasChanged) {
    behindMayHaveChanged();
  }
}

void BackdropItem::geometryChange(const QRectF& now, const QRectF& before) {
  PictureItem::geometryChange(now, before);
  behindMayHaveChanged();
}

void BackdropItem::updatePolish() {
  const QRectF place(host_.pixelOrigin() + position(), size());
  if (place.isEmpty() || !isVisible()) {
    return;
  }
  const RoundedClip& clip = host_.clip();
  // What is beside a sheet does not shine into it.
  BackdropBlur blur(place, clip.radius > 0 ? clip.rect : QRectF(QPointF(0, 0), QSizeF(window()->size())));
  std::vector<LayerMirror::Behind> behind = mirror_.behind(host_);
  std::erase_if(behind, [&](const LayerMirror::Behind& part) { return !part.place.intersects(blur.reach()); });
  if (behind == shown_ && place == shownPlace_ && !cutsChanged_) {
    return;
  }
  for (const LayerMirror::Behind& part : behind) {
    if (part.color.isValid()) {
      blur.addColor(part.place, part.color, part.opacity);
    } else {
      blur.addPicture(part.place, part.picture.image, part.opacity);
    }
  }
  QImage picture = blur.result();
  const bool isRounded = clip.cuts(place);
  if (isRounded || !cuts_.empty()) {
    const qreal ratio = mirror_.pixelRatio();
    picture = picture.scaled((size() * ratio).toSize(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                  .convertToFormat(QImage::Format_ARGB32_Premultiplied);
  }
  if (isRounded) {
    clip.cut(picture, place);
  }
  if (!cuts_.empty()) {
    const qreal ratio = mirror_.pixelRatio();
    QPainter painter(&picture);
    painter.scale(ratio, ratio);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
    for (const Cut& cut : cuts_) {
      painter.drawImage(cut.place, cut.shape);
    }
  }
  setImage(picture);
  for (LayerMirror::Behind& part : behind) {
    part.picture.image = QImage();  // only its version is compared; a player reuses the memory
  }
  shown_ = std::move(behind);
  shownPlace_ = place;
  cutsChanged_ = false;
}
