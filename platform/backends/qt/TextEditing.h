#pragma once

#include <QColor>
#include <QCoreApplication>
#include <QMouseEvent>
#include <QQuickItem>

/// What Quick's two text inputs have in common here, which share no base class.
namespace text_editing {

inline QColor color(bool enabled) {
  return enabled ? QColor(Qt::black) : QColor(0x8e, 0x8e, 0x93);
}

template <class Item>
void setUp(Item& item) {
  item.setSelectByMouse(true);
  item.setFocusOnPress(false);  // the view decides
  item.setSelectionColor(QColor(0xb3, 0xd7, 0xff));
  item.setSelectedTextColor(Qt::black);
  item.setRenderType(Item::NativeRendering);
}

/// A press and a release at a place of the item, which puts the cursor there.
template <class Send>
void tap(const QQuickItem& item, QPointF at, Send send) {
  for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
    const auto buttons = type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton;
    QMouseEvent event(type, at, item.mapToScene(at), item.mapToGlobal(at), Qt::LeftButton, buttons, Qt::NoModifier);
    send(event);
  }
}

}  // namespace text_editing
