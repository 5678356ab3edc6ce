#include "platform/backends/qt/EditorQuickWindow.h"

#include <QKeyEvent>
#include <QScreen>
#include <utility>

namespace {

/// Points; the bars, the timeline and a piece of the picture still have room.
constexpr QSize kSmallestSize(240, 200);

}  // namespace

EditorQuickWindow::EditorQuickWindow() {
  setColor(Qt::black);
  setMinimumSize(kSmallestSize);
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
    case QEvent::WindowStateChange:
      // The event's old state is no help: it is the new one where this program asked for the change.
      if (std::exchange(hasWholeScreen_, windowStates().testFlag(Qt::WindowFullScreen)) && !hasWholeScreen_) {
        leaveWholeScreen();
      }
      break;
    case QEvent::KeyPress:
      if (const auto& press = static_cast<QKeyEvent&>(*event); press.key() == Qt::Key_F11) {
        if (!press.isAutoRepeat()) {
          toggleFullScreen();
        }
        return true;
      }
      break;
    default:
      break;
  }
  const bool isInput = input_.handle(*event);
  if (std::exchange(isOverText_, input_.isOverText()) != isOverText_) {
    isOverText_ ? setCursor(Qt::IBeamCursor) : unsetCursor();
  }
  if (isInput) {
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
    placeInWindow_ = visibility() == QWindow::Windowed ? geometry() : QRect();
    showFullScreen();
  }
}

/// Back to where it was; a window that began with the whole screen has no smaller size of its own yet.
void EditorQuickWindow::leaveWholeScreen() {
  const QRect room = screen()->availableGeometry();
  if (placeInWindow_.isValid()) {
    setGeometry(placeInWindow_);
  } else if (width() >= room.width() && height() >= room.height()) {
    setGeometry(QRect(room.topLeft() + QPoint(room.width(), room.height()) / 6, room.size() * 2 / 3));
  }
}
