#include "platform/backends/qt/CardVisual.h"

#include "platform/UIKit/UICardView.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/QtConversions.h"

#include <QPainter>
#include <QPainterPath>
#include <algorithm>

namespace {

QPainterPath outline(QSizeF size, qreal radius, unsigned corners) {
  const qreal r = std::min({radius, size.width() / 2, size.height() / 2});
  const qreal w = size.width(), h = size.height(), d = 2 * r;
  const auto has = [&](UICardView::Corner corner) { return r > 0 && (corners & corner); };
  QPainterPath path(QPointF(has(UICardView::TopLeft) ? r : 0, 0));
  path.lineTo(has(UICardView::TopRight) ? w - r : w, 0);
  if (has(UICardView::TopRight)) path.arcTo(QRectF(w - d, 0, d, d), 90, -90);
  path.lineTo(w, has(UICardView::BottomRight) ? h - r : h);
  if (has(UICardView::BottomRight)) path.arcTo(QRectF(w - d, h - d, d, d), 0, -90);
  path.lineTo(has(UICardView::BottomLeft) ? r : 0, h);
  if (has(UICardView::BottomLeft)) path.arcTo(QRectF(0, h - d, d, d), 270, -90);
  path.lineTo(0, has(UICardView::TopLeft) ? r : 0);
  if (has(UICardView::TopLeft)) path.arcTo(QRectF(0, 0, d, d), 180, -90);
  path.closeSubpath();
  return path;
}

}  // namespace

bool CardVisual::isEmpty(const CALayer& layer) const {
  const auto* card = dynamic_cast<const UICardView*>(layer.view());
  return !card || toQColor(card->color()).alpha() == 0;
}

void CardVisual::paint(QPainter& painter, const CALayer& layer) {
  if (const auto* card = dynamic_cast<const UICardView*>(layer.view())) {
    painter.fillPath(outline(host().size(), card->cornerRadius(), card->corners()), toQColor(card->color()));
  }
}
