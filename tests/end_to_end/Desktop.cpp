#include "Desktop.h"

#include <gtest/gtest.h>
#include <fstream>

namespace fs = std::filesystem;

namespace {

constexpr double patience = 60;  // seconds

/// Programs are not started by this bus, whatever the machine has installed.
constexpr const char* busConfiguration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>ADDRESS</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

}  // namespace

Desktop::Desktop(Session& session) : folder_(session.folder() / "desktop") {
  std::vector<std::string>& environment = session.environment;
  for (const auto& [name, folder] : {std::pair("XDG_CONFIG_HOME", "config"),
                                     {"XDG_CONFIG_DIRS", "config-dirs"},
                                     {"XDG_DATA_HOME", "data"},
                                     {"XDG_DATA_DIRS", "data-dirs"},
                                     {"XDG_STATE_HOME", "state"},
                                     {"XDG_RUNTIME_DIR", "run"}}) {
    fs::create_directories(home(folder));
    environment.push_back(std::string(name) + "=" + home(folder).string());
  }
  fs::permissions(home("run"), fs::perms::owner_all);

  const std::string address = "unix:path=" + (folder_ / "bus").string();
  std::string configuration = busConfiguration;
  configuration.replace(configuration.find("ADDRESS"), 7, address);
  std::ofstream(folder_ / "bus.conf") << configuration;
  bus_ = std::make_unique<BackgroundProgram>(
      std::vector<std::string>{"/usr/bin/dbus-daemon", "--nofork", "--config-file=" + (folder_ / "bus.conf").string()},
      std::vector<std::string>{}, folder_ / "bus.log");
  EXPECT_TRUE(waitUntil(patience, [&] { return fs::exists(folder_ / "bus"); })) << contentOf(folder_ / "bus.log");
  environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address);
  services_ = std::make_unique<BackgroundProgram>(
      std::vector<std::string>{ZEVANTI_BUILD_DIR "/tests/zevanti-test-desktop", folder_.string()}, environment,
      folder_ / "desktop.log");
  EXPECT_TRUE(waitUntil(patience, [&] { return fs::exists(folder_ / "ready"); })) << contentOf(folder_ / "desktop.log");
}

void Desktop::tell(const std::string& file, const std::string& content) const {
  std::ofstream(folder_ / file) << content;
}

void Desktop::installHandler(const std::string& scheme) const {
  fs::create_directories(home("data") / "applications");
  std::ofstream(home("data") / "applications" / (scheme + ".desktop"))
      << "[Desktop Entry]\nType=Application\nName=Handler\nExec=/bin/true %u\nMimeType=x-scheme-handler/" << scheme
      << ";\n";
}
