#include "Session.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

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
