#pragma once

#include "platform/UIKit/UIFont.h"
#include "platform/backends/qt/LayerVisual.h"

#include <QRectF>
#include <QString>
#include <vector>

class BackdropItem;
class ColorItem;
class QQuickItem;
class UIBarButtonItem;
class UIToolbar;

/// A bar: the blurred picture behind it, a hairline, and its items: words in the system's blue, or symbols. Views among
/// the items are layers of their own.
class ToolbarVisual : public LayerVisual {
 public:
  explicit ToolbarVisual(LayerItem& host);
  void update(CALayer& layer) override;

 private:
  /// What is drawn for one item.
  struct Entry {
    QString text, symbol;  ///< one of the two
    UIFont font;
    QRectF place;  ///< in the bar, on whole pixels
    bool enabled = true;
    bool operator==(const Entry&) const = default;
  };
  Entry entry(const UIToolbar& bar, const UIBarButtonItem& item) const;
  QQuickItem* makeItem(const Entry& entry) const;

  BackdropItem* backdrop_;
  ColorItem* line_;
  QQuickItem* row_;
  std::vector<Entry> entries_;
  std::vector<QQuickItem*> items_;
  qreal ratio_ = 0;
};
