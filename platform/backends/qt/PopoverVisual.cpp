#include "platform/backends/qt/PopoverVisual.h"

#include "platform/UIKit/UIPopoverBackgroundView.h"
#include "platform/backends/qt/LayerItem.h"

#include <QPainter>
#include <QPainterPath>

namespace {

using Bubble = UIPopoverBackgroundView;

constexpr qreal kMargin = 28;  // points around the bubble: the arrow and the shadow
constexpr int kShadowSteps = 14;
constexpr qreal kShadowDrop = 3;
const QColor kBubbleColor(246, 246, 247, 250);

QPainterPath outline(const QRectF& body, const Bubble& bubble) {
  QPainterPath path;
  path.addRoundedRect(body, Bubble::cornerRadius, Bubble::cornerRadius);
  if (bubble.arrow() == Bubble::Arrow::None) {
    return path;
  }
  const bool up = bubble.arrow() == Bubble::Arrow::Up;
  const qreal x = body.left() + bubble.arrowOffset(), half = Bubble::arrowWidth / 2;
  const qreal base = up ? body.top() : body.bottom();
  const qreal inwards = up ? 1 : -1;
  const qreal tip = base - inwards * Bubble::arrowHeight;
  QPainterPath arrow(QPointF(x - half, base + inwards));
  arrow.lineTo(x - half, base);
  arrow.cubicTo(x - half * 0.5, base, x - half * 0.28, tip, x, tip);
  arrow.cubicTo(x + half * 0.28, tip, x + half * 0.5, base, x + half, base);
  arrow.lineTo(x + half, base + inwards);
  arrow.closeSubpath();
  return path.united(arrow);
}

}  // namespace

PopoverVisual::PopoverVisual(LayerItem& host) : DrawnVisual(host, kMargin) {}

void PopoverVisual::paint(QPainter& painter, const CALayer& layer) {
  const auto* bubble = dynamic_cast<const Bubble*>(layer.view());
  if (!bubble) {
    return;
  }
  const QPainterPath path = outline(QRectF(QPointF(), host().size()), *bubble);
  for (int step = kShadowSteps; step > 0; --step) {
    painter.setPen(QPen(QColor(0, 0, 0, 5), 2.0 * step, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(path.translated(0, kShadowDrop));
  }
  // What is translucent must not show the shadow that lies below it.
  painter.setCompositionMode(QPainter::CompositionMode_Source);
  painter.fillPath(path, kBubbleColor);
}
