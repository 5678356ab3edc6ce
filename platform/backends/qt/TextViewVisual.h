#pragma once

#include "platform/backends/qt/QuickTextVisual.h"

#include <private/qquicktextedit_p.h>

/// Several lines to type in.
class TextViewVisual : public QuickTextVisual<QQuickTextEdit> {
 public:
  explicit TextViewVisual(LayerItem& host);
};
