#include "tests/services/ServicesFixture.h"

#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UISystemActivities.h"
#include "platform/backends/portal/SessionBus.h"
#include "tests/common/Files.h"

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
    bus.call(QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                            "org.freedesktop.DBus.Peer", "Ping"),
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
  bus_->start("/usr/bin/dbus-daemon", {"--session", "--nofork", "--print-address"});
  ASSERT_TRUE(waitUntil([&] { return bus_->canReadLine(); }));
  setenv("DBUS_SESSION_BUS_ADDRESS", bus_->readLine().trimmed().constData(), 1);
}

void ServicesTest::startDesktop() {
  ASSERT_NO_FATAL_FAILURE(startBus());
  ASSERT_NO_FATAL_FAILURE(startServices());
  ASSERT_TRUE(learn());
}

void ServicesTest::startServices() {
  services_ = std::make_unique<QProcess>();
  services_->setProcessChannelMode(QProcess::ForwardedChannels);
  services_->start(ZEVANTI_BUILD_DIR "/tests/zevanti-test-desktop", {QString::fromStdString(desktop_.path())});
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
  // What is still unanswered on the bus that is left stays so.
  EXPECT_TRUE(waitUntil([] { return SessionBus::shared().unansweredCalls() == 0; }));
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

bool ServicesTest::perform(const std::string& type, const Strong<UIViewController>& presenter,
                           const std::function<void()>& meanwhile) {
  for (const auto& activity : UISystemActivities()) {
    if (activity->activityType() != type) continue;
    EXPECT_TRUE(activity->canPerformWithActivityItems(items())) << type;
    std::vector<bool> ends;
    activity->setFinishHandler([&](bool completed) { ends.push_back(completed); });
    activity->setActivityPresenter(presenter);
    activity->prepareWithActivityItems(items());
    activity->performActivity();
    meanwhile();
    EXPECT_TRUE(waitUntil([&] { return !ends.empty(); })) << type;
    EXPECT_EQ(ends.size(), 1U) << type;
    return ends == std::vector<bool>{true};
  }
  ADD_FAILURE() << "there is no " << type;
  return false;
}

std::string ServicesTest::read(const std::string& file) const {
  return contentOf(desktop_ / file);
}
