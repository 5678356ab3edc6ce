#pragma once

#include "platform/backends/qt/LayerVisual.h"

#include <QVariantList>

class BackdropItem;
class QQuickItem;
class UIBarButtonItem;
class UIToolbar;

/// A bar: the blurred picture behind it, and its items (Toolbar.qml). Views among the items are layers of their own.
class ToolbarVisual : public LayerVisual {
 public:
  explicit ToolbarVisual(LayerItem& host);
  void update(CALayer& layer) override;

 private:
  QVariantMap entry(const UIToolbar& bar, const UIBarButtonItem& item) const;

  BackdropItem* backdrop_;
  QQuickItem* item_;
  QVariantList entries_;
};
