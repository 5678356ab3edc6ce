#include "platform/backends/qt/MainQueueBridge.h"

#include "platform/Dispatch/dispatch.h"

#include <QCoreApplication>
#include <QEvent>

MainQueueBridge::MainQueueBridge() {
  dispatch_main::attachToCurrentThread([this] { QCoreApplication::postEvent(this, new QEvent(QEvent::User)); });
}

bool MainQueueBridge::event(QEvent* event) {
  if (event->type() == QEvent::User) {
    dispatch_main::drain();
    return true;
  }
  return QObject::event(event);
}
