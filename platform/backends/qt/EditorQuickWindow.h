#pragma once

#include "platform/backends/qt/InputForwarder.h"

#include <QQuickWindow>
#include <functional>

/// The Quick window: hands input to the views instead of to Quick items, and tells of its size and of closing. Main
/// thread.
class EditorQuickWindow : public QQuickWindow {
  Q_OBJECT
 public:
  EditorQuickWindow();

  InputForwarder& input() { return input_; }

  struct Handlers {
    std::function<void()> resized;  ///< size or scale have changed
    std::function<void()> close;    ///< the person wants the window closed
  };
  void setHandlers(Handlers handlers) { handlers_ = std::move(handlers); }

 protected:
  bool event(QEvent* event) override;

 private:
  void toggleFullScreen();
  void leaveWholeScreen();

  InputForwarder input_;
  bool hasWholeScreen_ = false;
  bool isOverText_ = false;
  QRect placeInWindow_;  ///< before it took the whole screen; invalid: it had no other place
  Handlers handlers_;
};
