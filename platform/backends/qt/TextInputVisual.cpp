#include "platform/backends/qt/TextInputVisual.h"

#include "platform/UIKit/UILayoutDirection.h"
#include "platform/UIKit/UITextInputView.h"
#include "platform/backends/qt/LayerItem.h"
#include "platform/backends/qt/LayerMirror.h"
#include "platform/backends/qt/QmlItems.h"
#include "platform/backends/qt/QtConversions.h"
#include "platform/backends/qt/TextItem.h"

#include <private/qquickaccessibleattached_p.h>
#include <QAccessible>

namespace {

const QColor kPlaceholderColor(0xa9, 0xa9, 0xaf);

}  // namespace

TextInputVisual::TextInputVisual(LayerItem& host) : LayerVisual(host), placeholder_(new TextItem(&host)) {}

UITextInputView* TextInputVisual::view() const {
  const Strong<CALayer> layer = host().layer();
  return layer ? dynamic_cast<UITextInputView*>(layer->view()) : nullptr;
}

void TextInputVisual::update(CALayer& layer) {
  auto* view = dynamic_cast<UITextInputView*>(layer.view());
  if (!view) {
    return;
  }
  placeholder_->setSize(host().size());
  placeholder_->setManyLines(view->isMultiline());
  placeholder_->show(QString::fromStdString(view->placeholder()), view->font(), kPlaceholderColor,
                     UIApplicationLayoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft
                         ? NSTextAlignment::Right
                         : NSTextAlignment::Left);
  isTaking_ = true;
  item().setSize(host().size());
  show(*view);
  isTaking_ = false;
  placeholder_->setVisible(view->text().empty());

  offerToScreenReaders(*view);
  const bool isEditing = view->isFirstResponder();
  if (isEditing && !item().hasActiveFocus()) {
    item().forceActiveFocus(Qt::OtherFocusReason);
  } else if (!isEditing && isEditing_) {
    item().setFocus(false);
    clearSelection();
  }
  isEditing_ = isEditing;
  if (const auto tap = view->takeCaretRequest()) {
    placeCursor(toQPointF(*tap));
  }
}

void TextInputVisual::offerToScreenReaders(const UITextInputView& view) {
  if (!accessible_) {
    if (!QAccessible::isActive()) {
      return;
    }
    host().mirror().qml().prepare(QStringLiteral("FocusRing"));  // the Accessible type comes with Qt Quick's QML types
    accessible_ =
        qobject_cast<QQuickAccessibleAttached*>(qmlAttachedPropertiesObject<QQuickAccessibleAttached>(&item(), true));
    accessible_->setRole(QAccessible::EditableText);
    accessible_->set_editable(view.isEditable());
    accessible_->set_readOnly(!view.isEditable());
    accessible_->set_focusable(true);
    accessible_->set_multiLine(view.isMultiline());
  }
  accessible_->setName(QString::fromStdString(view.accessibilityLabel()));
  accessible_->setDescription(QString::fromStdString(view.placeholder()));
}

void TextInputVisual::textChanged(const QString& text) {
  if (isTaking_) {
    return;
  }
  placeholder_->setVisible(text.isEmpty());
  if (UITextInputView* typedIn = view()) {
    typedIn->takeTypedText(text.toStdString());
  }
}

void TextInputVisual::caretMoved(QRectF caret) {
  UITextInputView* typedIn = isTaking_ ? nullptr : view();
  if (typedIn && item().hasActiveFocus()) {
    typedIn->caretMoved({toCGPoint(caret.topLeft()), toCGSize(caret.size())});
  }
}
