#include "platform/backends/qt/ToolbarVisual.h"

#include "platform/UIKit/UIToolbar.h"
#include "platform/backends/qt/BackdropItem.h"
#include "platform/backends/qt/ColorItem.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/TextItem.h"
#include "platform/backends/qt/VectorImage.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr qreal kSymbolSize = 28;
/// Symbols are centred in the height of a standard bar, also in a higher one; image insets do the rest.
constexpr qreal kStandardBarHeight = 44;
constexpr qreal kPressedOpacity = 0.2;
const QColor kSystemBlue(0, 122, 255);
const QColor kDisabledColor(142, 142, 147);
const QColor kLineColor(0, 0, 0, 64);

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
      line_(new ColorItem(&host, kLineColor)),
      row_(new QQuickItem(&host)) {}

void ToolbarVisual::update(CALayer& layer) {
  const auto* bar = dynamic_cast<const UIToolbar*>(layer.view());
  if (!bar) {
    return;
  }
  const qreal ratio = host().pixelRatio();
  backdrop_->setSize(host().size());
  // The line parts the bar from the picture.
  const qreal lineHeight = 1 / ratio;
  const bool isOnTop = bar->barPosition() == UIBarPosition::Any ? host().pixelOrigin().y() <= 0
                                                                : bar->barPosition() != UIBarPosition::Bottom;
  line_->setPosition({0, isOnTop ? host().height() - lineHeight : 0});
  line_->setSize({host().width(), lineHeight});

  std::vector<Entry> entries;
  std::size_t pressed = bar->items().size();
  for (const Strong<UIBarButtonItem>& item : bar->items()) {
    if (item->isSpace() || item->isCustomView()) {
      continue;
    }
    if (item.get() == bar->pressedItem()) {
      pressed = entries.size();
    }
    entries.push_back(entry(*bar, *item));
  }
  if (entries != entries_ || ratio != ratio_) {
    entries_ = std::move(entries);
    ratio_ = ratio;
    qDeleteAll(items_);
    items_.clear();
    for (const Entry& each : entries_) {
      items_.push_back(makeItem(each));
    }
  }
  for (std::size_t i = 0; i < items_.size(); ++i) {
    items_[i]->setOpacity(i == pressed ? kPressedOpacity : 1);
  }
}

ToolbarVisual::Entry ToolbarVisual::entry(const UIToolbar& bar, const UIBarButtonItem& item) const {
  const QRectF frame = toQRectF(bar.frameOfItem(&item));
  Entry entry;
  entry.place = frame;
  entry.enabled = item.isEnabled();
  if (!item.title().empty()) {
    entry.text = QString::fromStdString(item.title());
    entry.font = item.titleFont();
  } else {
    entry.symbol = symbolName(item.systemItem());
    const UIEdgeInsets& insets = item.imageInsets();
    const QPointF centre(
        frame.center().x() + (insets.left - insets.right) / 2,
        frame.top() + std::min(frame.height(), kStandardBarHeight) / 2 + (insets.top - insets.bottom) / 2);
    entry.place = QRectF(centre - QPointF(kSymbolSize, kSymbolSize) / 2, QSizeF(kSymbolSize, kSymbolSize));
  }
  const qreal ratio = host().pixelRatio();
  entry.place.moveTo(std::round(entry.place.x() * ratio) / ratio, std::round(entry.place.y() * ratio) / ratio);
  return entry;
}

QQuickItem* ToolbarVisual::makeItem(const Entry& entry) const {
  QQuickItem* item = nullptr;
  if (!entry.symbol.isEmpty()) {
    auto* picture = new PictureItem(row_);
    picture->setImage(VectorImage(QStringLiteral(":/Zevanti/symbols/%1.svg").arg(entry.symbol))
                          .draw((entry.place.size() * host().pixelRatio()).toSize()));
    item = picture;
  } else {
    auto* text = new TextItem(row_);
    text->show(entry.text, entry.font, entry.enabled ? kSystemBlue : kDisabledColor, NSTextAlignment::Center);
    item = text;
  }
  item->setPosition(entry.place.topLeft());
  item->setSize(entry.place.size());
  return item;
}
