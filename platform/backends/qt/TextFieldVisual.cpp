#include "platform/backends/qt/TextFieldVisual.h"

#include "platform/UIKit/UITextInputView.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/TextEditing.h"

#include <private/qquicktextinput_p.h>
#include <limits>

class TextFieldVisual::Item : public QQuickTextInput {
 public:
  using QQuickTextInput::QQuickTextInput;
  void tap(QPointF at) {
    text_editing::tap(*this, at, [this](QMouseEvent& event) {
      event.type() == QEvent::MouseButtonPress ? mousePressEvent(&event) : mouseReleaseEvent(&event);
    });
  }
};

TextFieldVisual::TextFieldVisual(LayerItem& host) : TextInputVisual(host), item_(new Item(&host)) {
  text_editing::setUp(*item_);
  item_->setVAlign(QQuickTextInput::AlignVCenter);
  item_->setClip(true);
  QObject::connect(item_, &QQuickTextInput::textChanged, item_, [this] { textChanged(item_->text()); });
  QObject::connect(item_, &QQuickTextInput::cursorRectangleChanged, item_,
                   [this] { caretMoved(item_->cursorRectangle()); });
  QObject::connect(item_, &QQuickTextInput::accepted, item_, [this] {
    if (UITextInputView* field = view()) {
      field->returnPressed();
    }
  });
}

QQuickItem& TextFieldVisual::item() {
  return *item_;
}

void TextFieldVisual::show(const UITextInputView& view) {
  const QString text = QString::fromStdString(view.text());
  item_->setMaxLength(view.maximumLength() > 0 ? view.maximumLength() : std::numeric_limits<short>::max());
  item_->setFont(toQFont(view.font(), text));
  item_->setReadOnly(!view.isEnabled());
  item_->setColor(text_editing::color(view.isEnabled()));
  if (text != item_->text()) {
    item_->setText(text);
    // What nobody types in shows where its text begins.
    if (!view.isFirstResponder()) item_->setCursorPosition(0);
  }
}

void TextFieldVisual::placeCursor(QPointF at) {
  item_->tap(at);
}

void TextFieldVisual::clearSelection() {
  item_->deselect();
}
