#pragma once

#include "platform/UIKit/UITextInputView.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/TextInputVisual.h"

#include <QColor>
#include <QMouseEvent>

/// What Quick's two text inputs (QQuickTextInput and QQuickTextEdit), which share no base class, have in common.
template <class QuickText>
class QuickTextVisual : public TextInputVisual {
 protected:
  class Item : public QuickText {
   public:
    using QuickText::QuickText;

    /// A press and a release at a place of the item, which puts the cursor there.
    void tap(QPointF at) {
      for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        const auto buttons = type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton;
        QMouseEvent event(type, at, this->mapToScene(at), this->mapToGlobal(at), Qt::LeftButton, buttons,
                          Qt::NoModifier);
        type == QEvent::MouseButtonPress ? this->mousePressEvent(&event) : this->mouseReleaseEvent(&event);
      }
    }
  };

  explicit QuickTextVisual(LayerItem& host) : TextInputVisual(host), item_(new Item(&host)) {
    item_->setSelectByMouse(true);
    item_->setFocusOnPress(false);  // the view decides
    item_->setSelectionColor(QColor(0xb3, 0xd7, 0xff));
    item_->setSelectedTextColor(Qt::black);
    item_->setRenderType(Item::NativeRendering);
    QObject::connect(item_, &QuickText::textChanged, item_, [this] { textChanged(item_->text()); });
    QObject::connect(item_, &QuickText::cursorRectangleChanged, item_,
                     [this] { caretMoved(item_->cursorRectangle()); });
  }

  QuickText& item() override { return *item_; }
  void show(const UITextInputView& view) override {
    const QString text = QString::fromStdString(view.text());
    item_->setFont(toQFont(view.font(), text));
    item_->setReadOnly(!view.isEnabled() || !view.isEditable());
    item_->setColor(colorOf(view));
    if (text != item_->text()) {
      item_->setText(text);
    }
  }
  static QColor colorOf(const UITextInputView& view) {
    return view.isEnabled() ? QColor(Qt::black) : QColor(0x8e, 0x8e, 0x93);
  }

 private:
  void placeCursor(QPointF at) override { item_->tap(at); }
  void clearSelection() override { item_->deselect(); }

  Item* item_;
};
