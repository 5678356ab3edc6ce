#include "platform/backends/qt/TextViewVisual.h"

TextViewVisual::TextViewVisual(LayerItem& host) : QuickTextVisual(host) {
  item().setTextFormat(QQuickTextEdit::PlainText);
  item().setWrapMode(QQuickTextEdit::Wrap);
  item().setSelectByKeyboard(true);  // also where nothing can be typed
}
