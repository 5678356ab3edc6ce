#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSError.h"
#include "plugins/PublishToYouTube/upload/Publisher.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMetaObject>

#include <gtest/gtest.h>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

/// The program itself, started anew to be ended in the middle of an upload: publishes with what signed in before.
int publishInProcess(const char* base, const std::string& folder, const char* movie) {
  NSErrorPtr error;
  publishing::PublisherOptions options;
  options.clientFile = folder + "/config/publishing.json";
  options.stateFolder = folder + "/state";
  options.secretService = false;
  options.keepAfterSeconds = 0;
  options.smallestChunk = options.largestChunk = 512 * 1024;
  publishing::Publisher::Events events;
  events.progress = [](const publishing::Progress& progress) {
    std::printf("%lld\n", static_cast<long long>(progress.sentBytes));
    std::fflush(stdout);
  };
  events.published = [](const std::string&) { QCoreApplication::exit(0); };
  events.failed = [](const NSErrorPtr&) { QCoreApplication::exit(1); };
  const auto publisher =
      publishing::Publisher::create(*publishing::ServiceAddresses::loopback(base, &error), events, options);
  publishing::VideoDetails details;
  details.title = "In another process";
  publisher->publish(movie, details);
  return QCoreApplication::exec();
}

}  // namespace

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
  if (argc == 5 && std::string(argv[1]) == "--publish") return publishInProcess(argv[2], argv[3], argv[4]);
  return RUN_ALL_TESTS();
}
