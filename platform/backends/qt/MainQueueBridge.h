#pragma once

#include <QObject>

/// Lets Qt's event loop do the work of the main queue. Made once, on the main thread, and kept to the end.
class MainQueueBridge : public QObject {
  Q_OBJECT
 public:
  MainQueueBridge();

 protected:
  bool event(QEvent* event) override;
};
