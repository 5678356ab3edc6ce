#include "tests/services/ServicesFixture.h"

#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UISystemActivities.h"
#include "platform/backends/portal/SessionBus.h"
#include "tests/common/Files.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

void ServicesTest::SetUp() {
  library_ = home_ / "Videos/Zevanti";
  PHPhotoLibrary::sharedPhotoLibrary().configure(library_, "Rainfall");
  movie_ = home_.write("cache/ZVZevanti_Trim17.m4v", "moviedata");
  for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_DIRS", "XDG_RUNTIME_DIR"})
    setenv(name, (home_ / name).c_str(), 1);
  fs::create_directories(home_ / "bin");
  setenv("PATH", (home_ / "bin").c_str(), 1);
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void ServicesTest::TearDown() {
  // Without those who owe an answer each call is answered, and nothing is under way any more when the bus goes.
  end(services_.get());
  leaveBus();
  end(bus_.get());
  deleteWhatIsLeft();
}

void ServicesTest::end(QProcess* process) {
  if (!process) return;
  process->kill();
  process->waitForFinished();
}

void ServicesTest::leaveBus() {
  SessionBus& bus = SessionBus::shared();
  // What the library itself has asked the bus for comes before this answer.
  const auto lastAnswer = std::make_shared<bool>(false);
  bus.connect([&bus, lastAnswer](bool) {
    bus.call(
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus.Peer"), QStringLiteral("Ping")),
        10000, [lastAnswer](const QDBusMessage&) { *lastAnswer = true; });
  });
  EXPECT_TRUE(waitUntil([&] { return *lastAnswer && bus.unansweredCalls() == 0; }));
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  const auto isGone = std::make_shared<bool>(false);
  bus.reconnect([isGone](bool) { *isGone = true; });
  EXPECT_TRUE(waitUntil([&] { return *isGone; }));
}

void ServicesTest::startBus() {
  bus_ = std::make_unique<QProcess>();
  bus_->start(QStringLiteral("/usr/bin/dbus-daemon"),
              {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
  ASSERT_TRUE(waitUntil([&] { return bus_->canReadLine(); }));
  setenv("DBUS_SESSION_BUS_ADDRESS", bus_->readLine().trimmed().constData(), 1);
}

void ServicesTest::startDesktop() {
  services_ = std::make_unique<QProcess>();
  services_->setProcessChannelMode(QProcess::ForwardedChannels);
  services_->start(QStringLiteral(ZEVANTI_BUILD_DIR "/tests/zevanti-test-desktop"),
                   {QString::fromStdString(desktop_.path())});
  ASSERT_TRUE(waitUntil([&] { return fs::exists(desktop_ / "ready"); }));
}

void ServicesTest::installHandler(const std::string& scheme) const {
  installProgram("handler", 0);
  home_.write(
      "XDG_DATA_HOME/applications/" + scheme + "-handler.desktop",
      "[Desktop Entry]\nType=Application\nName=Handler\nExec=handler %u\nMimeType=x-scheme-handler/" + scheme + ";\n");
}

void ServicesTest::installProgram(const std::string& name, int status) const {
  const std::string path =
      home_.write("bin/" + name, "#!/bin/sh\nfor a in \"$@\"; do printf '%s\\n' \"$a\"; done >> '" +
                                     (desktop_ / "opened") + "'\nexit " + std::to_string(status) + "\n");
  fs::permissions(path, fs::perms::owner_all);
}

bool ServicesTest::learn() {
  SessionBus::shared().reconnect();
  bool known = false;
  UISystemActivitiesPrepare("Rainfall", [&] { known = true; });
  return waitUntil([&] { return known; });
}

std::vector<UIActivityItem> ServicesTest::items() const {
  return {std::string("Look at Rainfall by Cloud Works."), link_, NSURL::fileURLWithPath(movie_)};
}

std::vector<std::string> ServicesTest::offered() const {
  std::vector<std::string> types;
  for (const auto& activity : UISystemActivities())
    if (activity->canPerformWithActivityItems(items())) types.push_back(activity->activityType());
  return types;
}

bool ServicesTest::perform(const std::string& type) {
  const auto all = UISystemActivities();
  const auto activity =
      std::find_if(all.begin(), all.end(), [&](const auto& one) { return one->activityType() == type; });
  EXPECT_NE(activity, all.end());
  if (activity == all.end()) return false;
  EXPECT_TRUE((*activity)->canPerformWithActivityItems(items())) << type;
  int finished = 0;
  bool completed = false;
  (*activity)->setFinishHandler([&](bool value) {
    completed = value;
    ++finished;
  });
  (*activity)->prepareWithActivityItems(items());
  (*activity)->performActivity();
  EXPECT_TRUE(waitUntil([&] { return finished > 0; })) << type;
  EXPECT_EQ(finished, 1);
  return completed;
}

std::string ServicesTest::read(const std::string& file) const {
  return contentOf(desktop_ / file);
}
