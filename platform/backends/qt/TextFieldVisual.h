#pragma once

#include "platform/backends/qt/QuickTextVisual.h"

#include <private/qquicktextinput_p.h>

/// One line to type in. While nobody types, what does not fit ends in an ellipsis.
class TextFieldVisual : public QuickTextVisual<QQuickTextInput> {
 public:
  explicit TextFieldVisual(LayerItem& host);

 private:
  void show(const UITextInputView& view) override;

  TextItem* shortened_;
};
