#include "platform/Dispatch/dispatch.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMetaObject>

#include <gtest/gtest.h>
#include <cstdlib>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // Neither the person's folders nor their store for secrets, nor a proxy, which a server of our own never needs.
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  unsetenv("XDG_RUNTIME_DIR");
  unsetenv("ZEVANTI_PUBLISHING_SERVER");
  setenv("http_proxy", "http://127.0.0.1:1", 1);
  QCoreApplication application(argc, argv);
  dispatch_main::attachToCurrentThread([] {
    QMetaObject::invokeMethod(
        qApp, [] { dispatch_main::drain(); }, Qt::QueuedConnection);
  });
  return RUN_ALL_TESTS();
}
