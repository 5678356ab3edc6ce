#include "platform/Dispatch/dispatch.h"

#include <gtest/gtest.h>
#include <QGuiApplication>
#include <QTimer>
#include <cstdlib>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  QGuiApplication application(argc, argv);
  dispatch_main::attachToCurrentThread([&application] {
    QMetaObject::invokeMethod(
        &application, [] { dispatch_main::drain(); }, Qt::QueuedConnection);
  });
  return RUN_ALL_TESTS();
}
