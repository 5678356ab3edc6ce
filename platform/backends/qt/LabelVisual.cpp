#include "platform/backends/qt/LabelVisual.h"

#include "platform/UIKit/UILabel.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/LayerMirror.h"
#include "platform/backends/qt/QmlItems.h"
#include "platform/backends/qt/QtConversions.h"

LabelVisual::LabelVisual(LayerItem& host)
    : LayerVisual(host), item_(host.mirror().qml().make(QStringLiteral("Label"), host)) {}

void LabelVisual::update(CALayer& layer) {
  const auto* label = dynamic_cast<const UILabel*>(layer.view());
  if (!label) {
    return;
  }
  item_->setSize(host().size());
  item_->setProperty("font", toQFont(label->font()));
  item_->setProperty("color", toQColor(label->textColor()));
  item_->setProperty("alignment", static_cast<int>(label->textAlignment()));
  item_->setProperty("text", QString::fromStdString(label->text()));
}
