#include "Session.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <cstring>
#include <fstream>

namespace fs = std::filesystem;

/// A catalogue on a file system that hangs is still being read when the window closes.
TEST(Exit, WaitsForNothingThatNobodyNeeds) {
  Session session;
  const fs::path folder = session.folder() / "catalogue";
  fs::create_directories(folder / "xml");
  ASSERT_EQ(mkfifo((folder / "xml/test.xml").c_str(), 0600), 0);
  session.environment.push_back("ZEVANTI_STORE_CATALOGUE=" + folder.string());
  session.options.insert(session.options.end(), {"--bundle-id", "org.example.Rainfall"});
  EXPECT_EQ(session.run(session.copyOf("basic.mp4"), "wait ready\nshare\nkey Escape\ntap Done\nwait finished\n"), 0)
      << session.errors();
  EXPECT_NE(session.errors().find("leaving while work is going on"), std::string::npos) << session.errors();
  EXPECT_TRUE(session.leftovers().empty());
}

/// The bus takes connections and never says a word: nothing on it is asked for long, and nothing is lost by that.
TEST(Exit, ABusThatHangsHoldsUpNeitherPublishingNorTheEnd) {
  Session session;
  const std::string bus = (session.folder() / "bus").string();
  const int silent = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, bus.c_str(), sizeof address.sun_path - 1);
  ASSERT_EQ(bind(silent, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(silent, 50), 0);
  const fs::path config = session.folder() / "config/zevanti";
  fs::create_directories(config);
  std::ofstream(config / "publishing.json") << R"({"client_id": "a client"})";
  const std::string home = session.folder().string();
  for (const std::string& variable :
       {"DBUS_SESSION_BUS_ADDRESS=unix:path=" + bus, "XDG_CONFIG_HOME=" + home + "/config",
        "XDG_STATE_HOME=" + home + "/state", std::string("ZEVANTI_PUBLISHING_SERVER=http://127.0.0.1:1"),
        std::string("ZEVANTI_STORE_CATALOGUE=") + home})
    session.environment.push_back(variable);
  EXPECT_EQ(session.run(session.copyOf("basic.mp4"),
                        "wait ready\nshare\nactivity YouTube\nform Title Rain\ntap Publish\n"
                        "wait text \"Continue in your browser\" 90\ntap Cancel\ntap Done\nwait finished 60\n"),
            0)
      << session.errors();
  EXPECT_TRUE(session.leftovers().empty());
  close(silent);
}
