#include "MovieReader.h"
#include "Session.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

std::string flag(const std::string& state, const std::string& name) {
  return member(member(state, "flags"), name);
}
std::string frame(const std::string& state, const std::string& name) {
  return member(member(state, "frames"), name);
}

/// Runs the script on a copy of the recording, to success; what its `state` steps printed, `count` of them. Each is
/// empty after a failure.
std::vector<std::string> statesOf(Session& session, const std::string& recording, const std::string& script,
                                  std::size_t count) {
  EXPECT_EQ(session.run(session.copyOf(recording), script), 0) << session.errors();
  std::vector<std::string> found = session.states();
  EXPECT_EQ(found.size(), count);
  found.resize(count);
  return found;
}

}  // namespace

TEST(Editing, TurningTheWindowWhilePlayingChangesTheLayout) {
  Session session;
  const auto states = statesOf(session, "basic.mp4",
                               "wait ready\nstate\n"
                               "tap overlay\nwait playing\ntap video\n"
                               "resize 667 375\nstate\n"
                               "resize 375 667\nstate\n"
                               "tap Play\ntap video\ntap Pause\nwait paused\nstate\n",
                               4);
  EXPECT_EQ(flag(states[0], "padMode"), "false");
  EXPECT_EQ(flag(states[0], "introMode"), "true");
  EXPECT_EQ(member(states[0], "topToolBar"), R"(["Cancel", "flexible space", "basic", "flexible space", "Save"])");
  EXPECT_EQ(member(states[0], "bottomToolBar"), R"(["Share", "flexible space"])");
  EXPECT_EQ(frame(states[0], "topToolBar"), "[0, 0, 375, 60]");
  EXPECT_EQ(frame(states[0], "bottomToolBar"), "[0, 623, 375, 44]");
  EXPECT_EQ(frame(states[0], "timeline"), "[0, 585, 375, 38]");

  EXPECT_EQ(flag(states[1], "padMode"), "true");
  EXPECT_EQ(member(states[1], "playing"), "true");
  EXPECT_EQ(
      member(states[1], "topToolBar"),
      R"(["Cancel", "flexible space", "basic", "flexible space", "Play", "fixed space", "Share", "fixed space", "Save"])");
  EXPECT_EQ(member(states[1], "bottomToolBar"), "null");
  EXPECT_EQ(frame(states[1], "timeline"), "[0, 337, 667, 38]");
  EXPECT_EQ(frame(states[1], "video"), "[0, 0, 667, 375]");

  EXPECT_EQ(flag(states[2], "padMode"), "false");
  EXPECT_EQ(member(states[2], "playing"), "true");
  EXPECT_EQ(member(states[2], "bottomToolBar"), R"(["Share", "flexible space", "Play", "flexible space"])");
  EXPECT_EQ(frame(states[2], "timeline"), "[0, 585, 375, 38]");

  EXPECT_EQ(member(states[3], "playing"), "false");
  EXPECT_EQ(member(states[3], "bottomToolBar"), R"(["Share", "flexible space", "Play", "flexible space"])");
}

TEST(Editing, APadKeepsItsLayout) {
  Session session;
  session.options = {"--idiom", "pad", "--size", "768x1024", "--app-name", "Größe & Co"};
  ASSERT_EQ(session.run(session.copyOf("portrait.mp4"), "wait ready\nstate\nresize 1024 768\nstate\ndump\n"), 0)
      << session.errors();
  ASSERT_EQ(session.states().size(), 2U);
  for (const std::string& state : session.states()) {
    EXPECT_EQ(flag(state, "padMode"), "true");
    EXPECT_EQ(member(state, "topToolBar"),
              R"(["Cancel", "flexible space", "Größe & Co", "flexible space", "Share", "fixed space", "Save"])");
  }
  EXPECT_NE(session.output().find("      _UIBackdropView (0, 730, 1024, 38)\n        UIMovieScrubber (0, 0, 1024, 38)"),
            std::string::npos)
      << session.output();
}

TEST(Editing, PlaysToTheEndAndComesBackToTheStart) {
  Session session;
  const auto states = statesOf(session, "video_only.mp4",
                               "wait ready\n"
                               "tap overlay\nwait playing\nstate\n"
                               "tap video\nstate\ntap video\nstate\ntap video\n"
                               "drag playhead 6\nstate\n"
                               "tap Pause\ntap Play\nwait playing\nstate\n"
                               "wait paused 20\nstate\ntime\n",
                               6);
  EXPECT_EQ(flag(states[0], "uiHidden"), "true");
  EXPECT_EQ(flag(states[0], "introMode"), "false");
  EXPECT_EQ(frame(states[0], "overlayPlayButton"), "null");
  EXPECT_EQ(flag(states[1], "uiHidden"), "false");
  EXPECT_EQ(flag(states[2], "uiHidden"), "true");
  // Dragging stops playback, leaves the pause item and does not resume.
  EXPECT_EQ(member(states[3], "playing"), "false");
  EXPECT_EQ(flag(states[3], "scrubbing"), "false");
  EXPECT_NEAR(number(states[3], "playhead"), 6, 0.05);
  EXPECT_EQ(member(states[3], "bottomToolBar"), R"(["Share", "flexible space", "Pause", "flexible space"])");
  EXPECT_EQ(member(states[4], "playing"), "true");
  // At the end: back to the start, everything on screen.
  EXPECT_EQ(flag(states[5], "uiHidden"), "false");
  EXPECT_EQ(member(states[5], "bottomToolBar"), R"(["Share", "flexible space", "Play", "flexible space"])");
  EXPECT_EQ(session.output().substr(session.output().rfind('}') + 2), "0.000\n");
}

TEST(Editing, TheFrameUnderThePlayheadIsTheOneOnScreen) {
  struct Case {
    const char* recording;
    int x, y, width, height;  // where the video stands in a window of 375 by 667 points
  };
  for (const Case& each : {Case{"basic.mp4", 0, 228, 375, 211}, Case{"turned.mp4", 0, 0, 375, 667}}) {
    SCOPED_TRACE(each.recording);
    Session session;
    const fs::path picture = session.folder() / "a picture.png";
    // The toolbars cover the numbers of an upright movie, so they are hidden for the picture.
    ASSERT_EQ(session.run(session.copyOf(each.recording),
                          "wait ready\ndrag playhead 4.5\nwait paused\nstate\ntap video\n"
                          "screenshot \"" +
                              picture.string() + "\"\n"),
              0)
        << session.errors();
    ASSERT_EQ(session.states().size(), 1U);
    const int expected = static_cast<int>(number(session.states()[0], "playhead") * 30 + 1e-3);
    EXPECT_EQ(frameNumberInPicture(picture, each.x, each.y, each.width, each.height), std::optional<int>(expected));
  }
}

TEST(Editing, ShakingUndoesATrimAndNothingElse) {
  Session session;
  const auto states = statesOf(session, "basic.mp4",
                               "wait ready\nshake\nstate\n"
                               "drag start 12\nwait editing\nstate\n"
                               "shake\nstate\n"
                               "drag end 30\nwait editing\nkey Control+Z\nstate\n"
                               "drag end 20\nwait editing\ntap Cancel\nstate\n",
                               5);
  EXPECT_EQ(flag(states[0], "hasEdit"), "false");
  EXPECT_EQ(flag(states[1], "trimming"), "true");
  EXPECT_EQ(member(states[1], "topToolBar"), R"(["Cancel", "flexible space", "basic", "flexible space", "Done"])");
  EXPECT_EQ(member(states[1], "bottomToolBar"), R"(["flexible space", "Play", "flexible space"])");
  // A trim that began with one handle has both ends.
  EXPECT_NEAR(number(member(states[1], "range"), "end"), 60, 0.1);
  for (std::size_t i = 2; i < states.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(flag(states[i], "trimming"), "false");
    EXPECT_EQ(member(states[i], "handles"), "null");
    EXPECT_EQ(member(states[i], "topToolBar"), R"(["Done", "flexible space", "basic", "flexible space", "Save"])");
  }
  EXPECT_TRUE(session.saved().empty());
}

TEST(Editing, TheKeyboardReachesEverything) {
  Session session;
  ASSERT_EQ(session.run(session.copyOf("video_only.mp4"),
                        "wait ready\nkey Space\nwait playing\nkey Space\nwait paused\n"
                        "tap video\ndrag start 2\nwait editing\nstate\n"
                        "key Escape\nstate\nkey Escape\nwait finished\n"),
            0)
      << session.errors();
  ASSERT_EQ(session.states().size(), 2U);
  EXPECT_EQ(flag(session.states()[0], "trimming"), "true");
  EXPECT_EQ(flag(session.states()[1], "trimming"), "false");
}

TEST(Editing, OddRecordingsOpenAndPlayToTheirEnd) {
  struct Case {
    const char* recording;
    double nearEnd;  // seconds
  };
  for (const Case& each :
       {Case{"audio_only.mp4", 9}, Case{"vfr.mp4", 19}, Case{"one_frame.mp4", 0}, Case{"opengop.mp4", 19},
        Case{"basic.mkv", 9}, Case{"lossless.mkv", 1}, Case{"fragmented.mp4", 19}, Case{"damaged.mp4", 59}}) {
    SCOPED_TRACE(each.recording);
    Session session;
    const std::string drag = each.nearEnd > 0 ? "drag playhead " + std::to_string(each.nearEnd) + "\n" : "";
    EXPECT_EQ(session.run(session.copyOf(each.recording), "wait ready\n" + drag + "tap overlay\nwait paused\nstate\n"),
              0)
        << session.errors();
    ASSERT_EQ(session.states().size(), 1U);
    EXPECT_EQ(flag(session.states()[0], "introMode"), "false");
    EXPECT_NEAR(number(session.states()[0], "playhead"), 0, 0.01);
    EXPECT_TRUE(session.leftovers().empty()) << session.leftovers()[0];
  }
}
