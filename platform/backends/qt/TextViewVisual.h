#pragma once

#include "platform/backends/qt/TextInputVisual.h"

/// Several lines to type in.
class TextViewVisual : public TextInputVisual {
 public:
  explicit TextViewVisual(LayerItem& host);

 private:
  class Item;
  QQuickItem& item() override;
  void show(const UITextInputView& view) override;
  void placeCursor(QPointF at) override;
  void clearSelection() override;

  Item* item_;
};
