#pragma once

#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIGeometry.h"

#include <private/qquicktext_p.h>
#include <QColor>
#include <QString>

/// One line of text, centred in height (or several, from the top); what does not fit ends in an ellipsis. A line that
/// is higher than the item sticks out above and below, uncut. Quick's own text item, made without a QML engine: that
/// takes longer to set up than everything else up to the first frame.
class TextItem : public QQuickText {
  Q_OBJECT
 public:
  explicit TextItem(QQuickItem* parent);
  void setManyLines(bool many);
  void show(const QString& text, const UIFont& font, const QColor& color, NSTextAlignment alignment);
};
