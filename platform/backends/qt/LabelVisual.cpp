#include "platform/backends/qt/LabelVisual.h"

#include "platform/UIKit/UILabel.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/TextItem.h"

LabelVisual::LabelVisual(LayerItem& host) : LayerVisual(host), item_(new TextItem(&host)) {}

void LabelVisual::update(CALayer& layer) {
  if (const auto* label = dynamic_cast<const UILabel*>(layer.view())) {
    item_->setSize(host().size());
    const int lines = label->numberOfLines();
    item_->setManyLines(lines != 1);
    if (lines > 1) {
      item_->setElideMode(QQuickText::ElideRight);
      item_->setMaximumLineCount(lines);
    } else {
      item_->resetMaximumLineCount();
    }
    item_->show(QString::fromStdString(label->text()), label->font(), toQColor(label->textColor()),
                label->textAlignment());
  }
}
