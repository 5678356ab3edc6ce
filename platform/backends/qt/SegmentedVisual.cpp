#include "platform/backends/qt/SegmentedVisual.h"

#include "platform/UIKit/UISegmentedControl.h"
#include "platform/backends/qt/QtConversions.h"

#include <QPainter>

namespace {

constexpr qreal kRadius = 8, kInset = 2;
const QColor kGround(0xe4, 0xe4, 0xe9), kEdge(0, 0, 0, 25), kDivider(0, 0, 0, 40);
constexpr qreal kPressedOpacity = 0.4;

}  // namespace

void SegmentedVisual::paint(QPainter& painter, const CALayer& layer) {
  const auto* control = dynamic_cast<const UISegmentedControl*>(layer.view());
  if (!control) {
    return;
  }
  painter.setPen(Qt::NoPen);
  painter.setBrush(kGround);
  painter.drawRoundedRect(toQRectF(layer.bounds()), kRadius, kRadius);
  const int selected = control->selectedSegmentIndex();
  for (int i = 0; i < static_cast<int>(control->titles().size()); ++i) {
    const QRectF place = toQRectF(control->frameOfSegment(i));
    if (i == selected) {
      painter.setPen(QPen(kEdge, 0.5));
      painter.setBrush(Qt::white);
      painter.drawRoundedRect(place.adjusted(kInset, kInset, -kInset, -kInset), kRadius - kInset, kRadius - kInset);
    } else if (i > 0 && i != selected + 1) {
      painter.setPen(QPen(kDivider, 1));
      painter.drawLine(place.topLeft() + QPointF(0, 8), place.bottomLeft() - QPointF(0, 8));
    }
    const QString title = QString::fromStdString(control->titles()[static_cast<std::size_t>(i)]);
    const QFont font = toQFont(UISegmentedControl::titleFont(), title);
    painter.setFont(font);
    painter.setPen(Qt::black);
    painter.setOpacity(i == control->pressedSegmentIndex() && i != selected ? kPressedOpacity : 1);
    painter.drawText(place, Qt::AlignCenter, QFontMetricsF(font).elidedText(title, Qt::ElideRight, place.width() - 8));
    painter.setOpacity(1);
  }
}
