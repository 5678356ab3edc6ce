#include "MovieReader.h"
#include "Session.h"

#include <gtest/gtest.h>
#include <csignal>
#include <fstream>

namespace fs = std::filesystem;

TEST(Host, NamesTheScriptStepThatCannotBeDone) {
  struct Case {
    const char* script;
    const char* message;
  };
  for (const Case& each : {
           Case{"# nothing is done when a later line makes no sense\nwait ready\nstate\n\ntap\n",
                "script line 5: this step goes: tap NAME\n"},
           Case{"wait ready\n\ntap Rewind\nstate\n", "script line 3: nothing on screen is called \"Rewind\""},
           Case{"wait ready\ndrag end 100\n", "script line 2: the movie is only "},
           Case{"wait playing 0.1\n", "script line 1: waited 0.1 s for \"playing\" in vain\n"},
           Case{"wait ready\nkey Nokey\n", "script line 2: there is no key \"Nokey\"\n"},
           Case{"wait ready\nscreenshot /proc/no/such.png\n", "script line 2: can't write the picture "},
           Case{"wait ready\ntap Cancel\nwait finished\nstate\n", "script line 4: the editor has finished\n"},
       }) {
    SCOPED_TRACE(each.script);
    Session session;
    EXPECT_EQ(session.run(session.copyOf("video_only.mp4"), each.script), 3);
    EXPECT_NE(session.errors().find(each.message), std::string::npos) << session.errors();
    EXPECT_TRUE(session.states().empty());
    EXPECT_TRUE(session.leftovers().empty()) << session.leftovers()[0];
  }
}

TEST(Host, TwoEditorsAtOnceDoNotDisturbEachOther) {
  Session first, second;
  second.cache = first.cache;
  const fs::path movie = first.copyOf("basic.mp4");
  first.start(movie,
              "wait ready\ndrag start 30\nwait editing\nstate\ntap overlay\nwait playing\nwait paused 100\ntap Done\n"
              "wait saved 60\nwait ready\n");
  ASSERT_TRUE(first.waitForOutput("}\n")) << first.errors();
  EXPECT_EQ(second.run(movie, "wait ready\ntap Save\nwait saved\n"), 0) << second.errors();
  first.signal(SIGTERM);
  EXPECT_EQ(first.wait(), 128 + SIGTERM);
  EXPECT_EQ(second.saved().size(), 1U);
  EXPECT_TRUE(first.leftovers().empty()) << first.leftovers()[0];
}

// The names of trimmed copies count seconds.
TEST(Host, TwoEditorsThatSaveInTheSameSecondBothDo) {
  Session sessions[2];
  sessions[1].cache = sessions[0].cache;
  const fs::path go = sessions[0].folder() / "go";
  for (Session& session : sessions)
    session.start(session.copyOf("basic.mp4"),
                  "wait ready\ndrag end 20\nwait editing\nstate\nwait file " + go.string() +
                      " 90\ntap Done\nwait saved 90\nwait ready\ntap Done\nwait finished 20\n");
  for (Session& session : sessions) ASSERT_TRUE(session.waitForOutput("}\n")) << session.errors();
  std::ofstream(go).flush();
  for (Session& session : sessions) {
    EXPECT_EQ(session.wait(), 0) << session.errors();
    ASSERT_EQ(session.saved().size(), 1U);
    EXPECT_NEAR(movieDuration(session.saved()[0]), 20, 0.1);
  }
  EXPECT_TRUE(sessions[0].leftovers().empty()) << sessions[0].leftovers()[0];
}

TEST(Host, TheEditorStaysWhenTheHostHasGone) {
  Session session;
  const fs::path movie = session.copyOf("video_only.mp4");
  const std::string before = contentOf(movie);
  session.start(movie,
                "wait ready\ndrag playhead 5\nstate\n"
                // Time for the host to go.
                "tap overlay\nwait playing\nwait paused 30\n"
                "tap Cancel\nstate\n");
  ASSERT_TRUE(session.waitForOutput("}\n")) << session.errors();
  session.signal(SIGKILL);
  EXPECT_EQ(session.wait(), 128 + SIGKILL);
  ASSERT_TRUE(waitUntil(30, [&] { return session.states().size() == 2; })) << session.output() << session.errors();
  EXPECT_NE(session.errors().find("error calling extension - "), std::string::npos) << session.errors();
  EXPECT_TRUE(waitUntil(30, [&] { return session.leftovers().empty(); })) << session.leftovers()[0];
  EXPECT_EQ(contentOf(movie), before);
}
