#include "platform/backends/qt/TextFieldVisual.h"

#include "platform/backends/qt/TextItem.h"

#include <limits>

TextFieldVisual::TextFieldVisual(LayerItem& host) : QuickTextVisual(host), shortened_(new TextItem(&host)) {
  item().setVAlign(QQuickTextInput::AlignVCenter);
  item().setClip(true);
  QObject::connect(&item(), &QQuickTextInput::accepted, &item(), [this] {
    if (UITextInputView* field = view()) {
      field->returnPressed();
    }
  });
}

void TextFieldVisual::show(const UITextInputView& view) {
  item().setMaxLength(view.maximumLength() > 0 ? view.maximumLength() : std::numeric_limits<short>::max());
  const bool isNew = item().text().toStdString() != view.text();
  QuickTextVisual::show(view);
  // What nobody types in shows where its text begins.
  if (isNew && !view.isFirstResponder()) item().setCursorPosition(0);

  const bool isShortened = !view.isFirstResponder() && item().contentWidth() > item().width();
  shortened_->setVisible(isShortened);
  if (!isShortened) {
    return;
  }
  // In its place, as the input can't leave out the end; a screen reader still has the input.
  item().setColor(Qt::transparent);
  shortened_->setSize(item().size());
  shortened_->show(
      item().text(), view.font(), colorOf(view),
      item().effectiveHAlign() == QQuickTextInput::AlignRight ? NSTextAlignment::Right : NSTextAlignment::Left);
}
