#include "platform/backends/qt/ToolbarVisual.h"

#include "platform/UIKit/UIToolbar.h"
#include "platform/backends/qt/BackdropItem.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/LayerMirror.h"
#include "platform/backends/qt/QmlItems.h"
#include "platform/backends/qt/QtConversions.h"

#include <QQuickItem>
#include <algorithm>
#include <cmath>

namespace {

constexpr qreal kSymbolSize = 28;
/// Symbols are centred in the height of a standard bar, also in a higher one; image insets do the rest.
constexpr qreal kStandardBarHeight = 44;

QString symbolName(UIBarButtonSystemItem item) {
  switch (item) {
    case UIBarButtonSystemItem::Play:
      return QStringLiteral("play");
    case UIBarButtonSystemItem::Pause:
      return QStringLiteral("pause");
    case UIBarButtonSystemItem::Action:
      return QStringLiteral("share");
    default:
      return {};
  }
}

}  // namespace

ToolbarVisual::ToolbarVisual(LayerItem& host)
    : LayerVisual(host),
      backdrop_(new BackdropItem(host)),
      item_(host.mirror().qml().make(QStringLiteral("Toolbar"), host)) {}

void ToolbarVisual::update(CALayer& layer) {
  const auto* bar = dynamic_cast<const UIToolbar*>(layer.view());
  if (!bar) {
    return;
  }
  backdrop_->setSize(host().size());
  item_->setSize(host().size());

  QVariantList entries;
  int pressed = -1;
  for (const Strong<UIBarButtonItem>& item : bar->items()) {
    if (item->isSpace() || item->isCustomView()) {
      continue;
    }
    if (item.get() == bar->pressedItem()) {
      pressed = static_cast<int>(entries.size());
    }
    entries.append(entry(*bar, *item));
  }
  item_->setProperty("pixelRatio", host().pixelRatio());
  item_->setProperty("lineAtTop", host().pixelOrigin().y() > 0);
  if (entries != entries_) {
    entries_ = entries;
    item_->setProperty("entries", entries);
  }
  item_->setProperty("pressed", pressed);
}

QVariantMap ToolbarVisual::entry(const UIToolbar& bar, const UIBarButtonItem& item) const {
  const QRectF frame = toQRectF(bar.frameOfItem(&item));
  const QString symbol = item.title().empty() ? symbolName(item.systemItem()) : QString();
  QRectF place = frame;
  QVariantMap map;
  if (symbol.isEmpty()) {
    map.insert(QStringLiteral("text"), QString::fromStdString(item.title()));
    map.insert(QStringLiteral("font"), toQFont(item.titleFont()));
  } else {
    const UIEdgeInsets& insets = item.imageInsets();
    const QPointF centre(
        frame.center().x() + (insets.left - insets.right) / 2,
        frame.top() + std::min(frame.height(), kStandardBarHeight) / 2 + (insets.top - insets.bottom) / 2);
    place = QRectF(centre - QPointF(kSymbolSize, kSymbolSize) / 2, QSizeF(kSymbolSize, kSymbolSize));
    map.insert(QStringLiteral("symbol"), symbol);
  }
  const qreal ratio = host().pixelRatio();
  map.insert(QStringLiteral("x"), std::round(place.x() * ratio) / ratio);
  map.insert(QStringLiteral("y"), std::round(place.y() * ratio) / ratio);
  map.insert(QStringLiteral("width"), place.width());
  map.insert(QStringLiteral("height"), place.height());
  return map;
}
