#pragma once

#include "platform/backends/qt/LayerVisual.h"

#include <QRectF>
#include <QString>

class QQuickAccessibleAttached;
class QQuickItem;
class TextItem;
class UITextInputView;

/// The text of a UITextField or UITextView: Quick's own text input, which gets the keyboard, input methods, selection
/// and clipboard while the view is the first responder. What is typed goes to the view. Made without a QML engine.
class TextInputVisual : public LayerVisual {
 public:
  void update(CALayer& layer) override;
  bool updatesAlways() const override { return true; }  // a screen reader may have come

 protected:
  explicit TextInputVisual(LayerItem& host);

  /// The view, or null once it has gone.
  UITextInputView* view() const;
  /// The item has another text.
  void textChanged(const QString& text);
  void caretMoved(QRectF caret);
  virtual QQuickItem& item() = 0;
  virtual void show(const UITextInputView& view) = 0;
  /// Puts the cursor to a place in the item.
  virtual void placeCursor(QPointF at) = 0;
  virtual void clearSelection() = 0;

 private:
  void offerToScreenReaders(const UITextInputView& view);

  TextItem* placeholder_;
  QQuickAccessibleAttached* accessible_ = nullptr;  ///< once a screen reader listens
  bool isTaking_ = false;                           ///< the item is just taking over the view's text
  bool isEditing_ = false;
};
