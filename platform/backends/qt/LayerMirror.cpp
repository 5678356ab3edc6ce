#include "platform/backends/qt/LayerMirror.h"

#include "platform/backends/qt/BackdropItem.h"
#include "platform/backends/qt/LayerItem.h"

#include <QQuickItem>
#include <QQuickWindow>

LayerMirror::LayerMirror(QQuickWindow& window, QmlItems& qml) : window_(window), qml_(qml) {}

LayerMirror::~LayerMirror() {
  setRoot(nullptr);
}

qreal LayerMirror::pixelRatio() const {
  return window_.effectiveDevicePixelRatio();
}

void LayerMirror::setRoot(const Strong<CALayer>& root) {
  root_ = root;
  if (!root_) {
    commit();
  }
}

void LayerMirror::commit() {
  ++commitCount_;
  if (root_) {
    sync(*root_, window_.contentItem(), nullptr);
  }
  for (auto it = items_.begin(); it != items_.end();) {
    if (it->second.seen != commitCount_) {
      delete it->second.item;
      it = items_.erase(it);
    } else {
      ++it;
    }
  }
  pictureChanged();
}

LayerItem* LayerMirror::sync(CALayer& layer, QQuickItem* parentItem, const LayerItem* parent) {
  const auto known = items_.find(&layer);
  LayerItem* item = known == items_.end() ? nullptr : known->second.item;
  if (item && item->layer().get() != &layer) {
    // Another layer lived at this address before.
    delete item;
    item = nullptr;
  }
  if (!item) {
    item = new LayerItem(*this, layer);
  }
  items_[&layer] = {item, commitCount_};
  if (item->parentItem() != parentItem) {
    item->setParentItem(parentItem);
  }
  item->takeOver(layer, parent);

  LayerItem* previous = nullptr;
  for (const Strong<CALayer>& sublayer : layer.sublayers()) {
    LayerItem* child = sync(*sublayer, item, item);
    const QList<QQuickItem*> siblings = item->childItems();
    const qsizetype wanted = previous ? siblings.indexOf(previous) + 1 : item->visualItemCount();
    if (siblings.value(wanted) != child) {
      if (wanted > 0 && siblings[wanted - 1] != child) {
        child->stackAfter(siblings[wanted - 1]);
      } else if (wanted < siblings.size()) {
        child->stackBefore(siblings[wanted]);
      }
    }
    previous = child;
  }
  return item;
}

LayerItem* LayerMirror::itemForLayer(const CALayer* layer) const {
  const auto known = items_.find(layer);
  return known == items_.end() ? nullptr : known->second.item;
}

std::vector<LayerMirror::Behind> LayerMirror::behind(const LayerItem& item) const {
  std::vector<Behind> result;
  if (const LayerItem* root = root_ ? itemForLayer(root_.get()) : nullptr) {
    collect(*root, 1, item, result);
  }
  return result;
}

bool LayerMirror::collect(const LayerItem& from, qreal opacity, const LayerItem& upTo,
                          std::vector<Behind>& into) const {
  if (&from == &upTo) {
    return true;
  }
  const bool shown = from.isVisible() && from.opacity() > 0;
  opacity *= from.opacity();
  if (shown) {
    if (from.backgroundColor().alpha() > 0) {
      into.push_back({{from.pixelOrigin(), from.size()}, opacity, from.backgroundColor(), {}});
    }
    if (const LayerVisual* visual = from.visual()) {
      if (LayerVisual::Picture picture = visual->pictureBehind(); !picture.image.isNull()) {
        const QRectF place = picture.place.translated(from.pixelOrigin());
        into.push_back({place, opacity, QColor(), std::move(picture)});
      }
    }
  }
  const Strong<CALayer> layer = from.layer();
  if (!layer) {
    return false;
  }
  for (const Strong<CALayer>& sublayer : layer->sublayers()) {
    const LayerItem* child = itemForLayer(sublayer.get());
    if (child && (shown || child->isAncestorOf(&upTo) || child == &upTo) && collect(*child, opacity, upTo, into)) {
      return true;
    }
  }
  return false;
}

void LayerMirror::pictureChanged() {
  for (BackdropItem* backdrop : backdrops_) {
    backdrop->behindMayHaveChanged();
  }
}
