#include "platform/backends/qt/TextViewVisual.h"

#include "platform/UIKit/UITextInputView.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/TextEditing.h"

#include <private/qquicktextedit_p.h>

class TextViewVisual::Item : public QQuickTextEdit {
 public:
  using QQuickTextEdit::QQuickTextEdit;
  void tap(QPointF at) {
    text_editing::tap(*this, at, [this](QMouseEvent& event) {
      event.type() == QEvent::MouseButtonPress ? mousePressEvent(&event) : mouseReleaseEvent(&event);
    });
  }
};

TextViewVisual::TextViewVisual(LayerItem& host) : TextInputVisual(host), item_(new Item(&host)) {
  text_editing::setUp(*item_);
  item_->setTextFormat(QQuickTextEdit::PlainText);
  item_->setWrapMode(QQuickTextEdit::Wrap);
  QObject::connect(item_, &QQuickTextEdit::textChanged, item_, [this] { textChanged(item_->text()); });
  QObject::connect(item_, &QQuickTextEdit::cursorRectangleChanged, item_,
                   [this] { caretMoved(item_->cursorRectangle()); });
}

QQuickItem& TextViewVisual::item() {
  return *item_;
}

void TextViewVisual::show(const UITextInputView& view) {
  const QString text = QString::fromStdString(view.text());
  item_->setFont(toQFont(view.font(), text));
  item_->setReadOnly(!view.isEnabled());
  item_->setColor(text_editing::color(view.isEnabled()));
  if (text != item_->text()) {
    item_->setText(text);
  }
}

void TextViewVisual::placeCursor(QPointF at) {
  item_->tap(at);
}

void TextViewVisual::clearSelection() {
  item_->deselect();
}
