#include "platform/backends/qt/LayerItem.h"

#include "platform/backends/qt/LayerMirror.h"
#include "platform/backends/qt/LayerVisual.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/VisualFactory.h"

#include <QQuickWindow>
#include <QSGRectangleNode>
#include <cmath>

LayerItem::LayerItem(LayerMirror& mirror, CALayer& layer)
    : mirror_(mirror), layer_(std::static_pointer_cast<CALayer>(layer.shared_from_this())) {}

LayerItem::~LayerItem() = default;

qreal LayerItem::pixelRatio() const {
  return mirror_.pixelRatio();
}

void LayerItem::takeOver(CALayer& layer, const LayerItem* parent) {
  const CGRect frame = layer.presentationFrame();
  const qreal ratio = pixelRatio();
  const auto onPixel = [ratio](qreal value) { return std::round(value * ratio) / ratio; };

  exactOrigin_ = (parent ? parent->exactOrigin() : QPointF()) + QPointF(frame.origin.x, frame.origin.y);
  pixelOrigin_ = {onPixel(exactOrigin_.x()), onPixel(exactOrigin_.y())};
  setPosition(pixelOrigin_ - (parent ? parent->pixelOrigin() : QPointF()));
  setSize({onPixel(exactOrigin_.x() + frame.size.width) - pixelOrigin_.x(),
           onPixel(exactOrigin_.y() + frame.size.height) - pixelOrigin_.y()});

  const float opacity = layer.presentationOpacity();
  setOpacity(opacity);
  setVisible(!layer.isHidden() && opacity > 0);
  setClip(layer.masksToBounds());
  if (layer.masksToBounds() && layer.cornerRadius() > 0) {
    clip_ = {{pixelOrigin_, size()}, onPixel(layer.cornerRadius())};
  } else {
    clip_ = parent ? parent->clip() : RoundedClip();
  }
  if (const RoundedClip clip = clip_.translated(-pixelOrigin_); clip != ownClip_) {
    ownClip_ = clip;
    update();
  }

  const QColor background = layer.backgroundColor() ? toQColor(*layer.backgroundColor()) : QColor(Qt::transparent);
  if (background != background_) {
    background_ = background;
    setFlag(ItemHasContents, background_.alpha() > 0);
    update();
  }

  const bool isNew = shownRatio_ == 0;
  if (isNew) {
    visual_ = VisualFactory::make(layer.visualKind(), *this);
  }
  if (isNew || layer.contentVersion() != shownVersion_ || size() != shownSize_ || ratio != shownRatio_ ||
      (visual_ && visual_->updatesAlways())) {
    shownVersion_ = layer.contentVersion();
    shownSize_ = size();
    shownRatio_ = ratio;
    if (visual_) {
      visual_->update(layer);
      putVisualItemsFirst();
    }
  }
}

void LayerItem::putVisualItemsFirst() {
  visualItemCount_ = 0;
  for (QQuickItem* child : childItems()) {
    if (qobject_cast<LayerItem*>(child)) {
      continue;
    }
    QQuickItem* there = childItems().value(visualItemCount_);
    if (there != child) {
      child->stackBefore(there);
    }
    ++visualItemCount_;
  }
}

QSGNode* LayerItem::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
  if (background_.alpha() == 0 || width() <= 0 || height() <= 0) {
    delete old;
    return nullptr;
  }
  if (ownClip_.cuts(boundingRect())) {
    delete old;
    return new RoundedFill(*window(), boundingRect(), background_, ownClip_, pixelRatio());
  }
  if (dynamic_cast<RoundedFill*>(old)) {
    delete old;
    old = nullptr;
  }
  auto* node = static_cast<QSGRectangleNode*>(old);
  if (!node) {
    node = window()->createRectangleNode();
  }
  node->setRect(boundingRect());
  node->setColor(background_);
  return node;
}
