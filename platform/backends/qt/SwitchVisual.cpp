#include "platform/backends/qt/SwitchVisual.h"

#include "platform/UIKit/UISwitch.h"
#include "platform/backends/qt/QtConversions.h"

#include <QPainter>

namespace {

const QColor kOn(0x34, 0xc7, 0x59), kOff(0xd9, 0xd9, 0xde), kKnobEdge(0, 0, 0, 30);

}  // namespace

void SwitchVisual::paint(QPainter& painter, const CALayer& layer) {
  const auto* view = dynamic_cast<const UISwitch*>(layer.view());
  const QRectF place = toQRectF(layer.bounds());
  painter.setPen(Qt::NoPen);
  painter.setBrush(view && view->isOn() ? kOn : kOff);
  painter.drawRoundedRect(place, place.height() / 2, place.height() / 2);
}

void SwitchKnobVisual::paint(QPainter& painter, const CALayer& layer) {
  painter.setPen(QPen(kKnobEdge, 0.5));
  painter.setBrush(Qt::white);
  painter.drawEllipse(toQRectF(layer.bounds()).adjusted(0.5, 0.5, -0.5, -0.5));
}
