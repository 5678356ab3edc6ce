#pragma once

#include "platform/backends/qt/TextInputVisual.h"

#include <memory>

/// One line to type in.
class TextFieldVisual : public TextInputVisual {
 public:
  explicit TextFieldVisual(LayerItem& host);

 private:
  class Item;
  QQuickItem& item() override;
  void show(const UITextInputView& view) override;
  void placeCursor(QPointF at) override;
  void clearSelection() override;

  Item* item_;
};
