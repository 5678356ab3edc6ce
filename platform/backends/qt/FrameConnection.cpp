#include "platform/backends/qt/FrameConnection.h"

#include "platform/AVFoundation/AVVideoOutput.h"

#include <QCoreApplication>
#include <QEvent>

FrameConnection::~FrameConnection() {
  connectTo(nullptr);
}

void FrameConnection::connectTo(const std::shared_ptr<AVVideoOutput>& output) {
  if (output == output_) {
    return;
  }
  if (output_) {
    output_->setFrameHandler(nullptr);
    output_->setTargetSize(0, 0);
  }
  output_ = output;
  if (output_) {
    // On the player's thread. This object outlives the handler: the connection ends before it does.
    output_->setFrameHandler([this] {
      if (!announced_.exchange(true)) {
        QCoreApplication::postEvent(this, new QEvent(QEvent::User), Qt::HighEventPriority);
      }
    });
  }
}

void FrameConnection::setTargetSize(QSize pixels) {
  if (output_) {
    output_->setTargetSize(pixels.width(), pixels.height());
  }
}

bool FrameConnection::event(QEvent* event) {
  if (event->type() != QEvent::User) {
    return QObject::event(event);
  }
  announced_ = false;
  newFrame_();
  return true;
}
