#include "platform/backends/qt/EditorQuickWindow.h"

#include <QKeyEvent>

EditorQuickWindow::EditorQuickWindow() {
  setColor(Qt::black);
}

bool EditorQuickWindow::event(QEvent* event) {
  switch (event->type()) {
    case QEvent::Close:
      event->ignore();
      if (handlers_.close) {
        handlers_.close();
      }
      return true;
    case QEvent::FocusOut:
    case QEvent::Hide:
      input_.cancelTouches();
      break;
    case QEvent::KeyPress:
      if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_F11) {
        toggleFullScreen();
        return true;
      }
      break;
    default:
      break;
  }
  if (input_.handle(*event)) {
    return true;
  }
  const bool handled = QQuickWindow::event(event);
  if (event->type() == QEvent::Resize && handlers_.resized) {
    handlers_.resized();
  }
  return handled;
}

void EditorQuickWindow::toggleFullScreen() {
  if (windowStates().testFlag(Qt::WindowFullScreen)) {
    showNormal();
  } else {
    showFullScreen();
  }
}
