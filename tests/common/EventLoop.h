#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QEventLoop>
#include <QTimer>

#include <functional>

/// Runs the event loop until the condition holds; false after so many seconds.
inline bool waitUntil(const std::function<bool()>& condition, double seconds = 60) {
  QElapsedTimer elapsed;
  elapsed.start();
  QTimer wakeUp;  // so that the condition is looked at also when nothing else happens
  wakeUp.start(5);
  while (!condition()) {
    if (static_cast<double>(elapsed.elapsed()) > seconds * 1000) return false;
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  return true;
}

/// Deletes what waits to be deleted by the event loop, for a test at whose end nothing may be left.
inline void deleteWhatIsLeft() {
  QCoreApplication::processEvents();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}
