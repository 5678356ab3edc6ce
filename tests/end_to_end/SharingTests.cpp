#include "Session.h"

#include <gtest/gtest.h>
#include <fstream>

namespace fs = std::filesystem;

namespace {

/// A store that knows the recorded application.
void addCatalogue(Session& session) {
  const fs::path folder = session.folder() / "catalogue/xml";
  fs::create_directories(folder);
  std::ofstream(folder / "test.xml") << R"(<?xml version="1.0" encoding="UTF-8"?>
<components version="0.14" origin="test">
  <component type="desktop-application"><id>org.example.Rainfall</id><name>Rainfall</name><summary>Drops</summary>
    <developer_name>Cloud Works</developer_name><url type="homepage">https://rainfall.example.org/</url></component>
</components>)";
  session.environment.push_back("ZEVANTI_STORE_CATALOGUE=" + folder.parent_path().string());
  session.environment.emplace_back("LC_ALL=C.UTF-8");
  session.options.insert(session.options.end(), {"--bundle-id", "org.example.Rainfall"});
}

}  // namespace

TEST(Sharing, TheSheetTakesTheKeysAndGivesThemBack) {
  for (const bool wide : {false, true}) {
    SCOPED_TRACE(wide ? "wide" : "narrow");
    Session session;
    addCatalogue(session);
    const fs::path movie = session.copyOf("basic.mp4");
    ASSERT_EQ(session.run(movie, std::string("wait ready\n") + (wide ? "resize 700 400\n" : "") +
                                     "share\nstate\nkey Space\nkey Control+S\nkey Return\nstate\nkey Escape\nstate\n"
                                     "tap Done\nwait finished\n"),
              0)
        << session.errors();
    const auto states = session.states();
    ASSERT_EQ(states.size(), 3U);
    const std::string sheet = member(states[0], "sheet");
    EXPECT_EQ(member(sheet, "style"), wide ? "\"popover\"" : "\"sheet\"");
    EXPECT_NE(member(sheet, "activities").find("\"UIActivityTypeCopyToPasteboard\""), std::string::npos) << sheet;
    EXPECT_NE(member(states[0], "reachable").find("Rainfall"), std::string::npos) << states[0];
    EXPECT_EQ(member(states[1], "sheet"), sheet);
    EXPECT_EQ(member(states[1], "playing"), "false");
    EXPECT_EQ(member(states[2], "sheet"), "null");
    EXPECT_NE(member(states[2], "topToolBar").find("\"Done\""), std::string::npos);
    EXPECT_TRUE(session.saved().empty());
    EXPECT_EQ(session.output().find("UIActivityType", session.output().rfind('}')), std::string::npos)
        << "nothing was done, so nothing is reported";
    EXPECT_TRUE(session.leftovers().empty());
  }
}

TEST(Sharing, AScriptIsToldWhatThereIs) {
  Session session;
  addCatalogue(session);
  EXPECT_EQ(session.run(session.copyOf("basic.mp4"), "wait ready\nshare\nactivity Fax\n"), 3);
  EXPECT_NE(session.errors().find("script line 3: no activity is called \"Fax\"; there is: "), std::string::npos)
      << session.errors();
}
