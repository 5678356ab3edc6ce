// Ways of sharing whose recording, or whose disk, is not as it should be: what a person is told, and that nothing half
// is handed on.

#include "SmallDisk.h"
#include "tests/common/Files.h"
#include "tests/end_to_end/Desktop.h"
#include "tests/end_to_end/Session.h"
#include "tests/end_to_end/VideoService.h"

#include <gtest/gtest.h>
#include <fstream>
#include <functional>
#include <optional>

namespace fs = std::filesystem;

namespace {

constexpr const char* kChanged = "Another program has changed this recording";
constexpr const char* kUnreadable = "“video_only.mp4” can’t be read any more";
constexpr std::uint64_t kReserve = 100'000'000;  // bytes that are to be left free

/// Runs to the point where `before` has led, has `harm` done, and goes on with `after`, which ends with `state`.
std::string stateAfter(Session& session, const fs::path& movie, const std::string& before,
                       const std::function<void()>& harm, const std::string& after) {
  const fs::path goOn = session.folder() / "go-on";
  session.start(movie, "wait ready 60\n" + before + "time\nwait file " + goOn.string() + " 90\n" + after);
  EXPECT_TRUE(session.waitForOutput("\n", 90)) << session.errors();
  harm();
  std::ofstream(goOn).flush();
  session.wait();
  const auto states = session.states();
  EXPECT_FALSE(states.empty()) << session.errors();
  return states.empty() ? "" : states.front();
}

std::string messageIn(const std::string& state) {
  const std::string alert = member(state, "alert");
  return alert == "null" || alert.empty() ? "" : member(alert, "message");
}

}  // namespace

TEST(Sharing, ARecordingThatIsNotWhatWasOpenedIsNotHandedOn) {
  struct Case {
    const char *name, *before, *after;
    bool isUnreadable = false;
  };
  const Case cases[] = {{"before the sheet", "", "tap Share\n"},
                        {"Mail", "share\n", "activity UIActivityTypeMail\n"},
                        {"Copy", "share\n", "activity UIActivityTypeCopyToPasteboard\n"},
                        {"Save a Copy", "share\n", "activity UIActivityTypeSaveToFiles\n"},
                        {"YouTube", "share\n", "activity YouTube\n"},
                        {"unreadable, Copy", "share\n", "activity UIActivityTypeCopyToPasteboard\n", true},
                        {"unreadable, Save", "", "tap Save\n", true},
                        {"unreadable, trimmed", "drag end 8\nwait editing\n", "tap Done\n", true}};
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    Session session;
    session.unprivileged = each.isUnreadable;  // root may read everything
    std::optional<Desktop> desktop;
    if (!each.isUnreadable) desktop.emplace(session);
    const fs::path movie = session.copyOf("video_only.mp4"), older = session.folder() / "older.mp4";
    std::ofstream(older) << "an older file";
    if (desktop) desktop->tell("save-path", older.string());
    const auto harm = [&] {
      if (each.isUnreadable)
        fs::permissions(movie, fs::perms::none);
      else
        fs::resize_file(movie, fs::file_size(movie) / 20);
    };
    const std::string state =
        stateAfter(session, movie, each.before, harm, std::string(each.after) + "wait alert 60\nstate\nalert OK\n");
    EXPECT_EQ(messageIn(state).find(each.isUnreadable ? kUnreadable : kChanged), 1U)
        << state;  // after a quotation mark
    if (each.after != std::string("tap Save\n") && each.after != std::string("tap Done\n")) {
      EXPECT_EQ(member(member(state, "alert"), "title"),
                each.isUnreadable ? "\"The recording can’t be read\"" : "\"The recording has changed\"");
    }
    EXPECT_TRUE(session.saved().empty());
    EXPECT_EQ(contentOf(older), "an older file");
    EXPECT_EQ(desktop ? desktop->calls() : "", "");
    const std::string report = session.output().substr(session.output().rfind('}'));
    EXPECT_EQ(report.find("\nUIActivityTypeM"), std::string::npos) << "none was carried out";
    EXPECT_EQ(report.find("\nUIActivityTypeCopy"), std::string::npos);
    EXPECT_TRUE(session.leftovers().empty());
  }
}

TEST(Sharing, WithoutRoomNothingIsBegunAndTheRoomThatIsMissingIsTold) {
  const struct {
    const char *activity, *place;
  } cases[] = {
      {"UIActivityTypeCopyToPasteboard", "library"}, {"UIActivityTypeSaveToFiles", "documents"}, {"YouTube", "cache"}};
  for (const auto& [activity, place] : cases) {
    SCOPED_TRACE(activity);
    Session session;
    const Desktop desktop(session);
    const VideoService service(session, desktop);
    const fs::path movie = session.copyOf("two_audio.mp4"), folder = session.folder() / place;
    const bool publishes = std::string(activity) == "YouTube";
    SmallDisk disk(folder, 3 * kReserve);  // the editor's own file needs some of it
    if (!disk.isMounted()) GTEST_SKIP() << "small disks need root";
    desktop.tell("save-path", (folder / "copy.mp4").string());
    const std::string state = stateAfter(
        session, movie, "", [&] { ASSERT_TRUE(disk.resize(kReserve / 2)); },
        std::string("share\nactivity ") + activity + "\n" +
            (publishes ? "wait text \"more are needed\" 60\ndump\nstate\n" : "wait alert 60\nstate\nalert OK\n"));
    const std::string told = publishes ? session.output() : messageIn(state);
    const std::string where = "There is not enough room in “" + folder.string() + (publishes ? "/zevanti”: " : "”: ");
    EXPECT_NE(told.find(where), std::string::npos) << told;
    EXPECT_NE(told.find(" MB more are needed. Make room on its disk, then try again."), std::string::npos) << told;
    EXPECT_TRUE(publishes ? session.leftovers().empty() : fs::is_empty(folder));
  }
}

TEST(Sharing, NothingIsConvertedIntoWhatHasTakenTheTemporaryFoldersPlace) {
  for (const bool isDangling : {false, true}) {
    Session session;
    const Desktop desktop(session);
    const VideoService service(session, desktop);
    const fs::path temporary = session.cache / "zevanti", theirs = session.folder() / "theirs";
    const auto harm = [&] {
      fs::rename(temporary, session.cache / "moved");
      if (!isDangling) fs::create_directory(theirs);
      fs::create_directory_symlink(theirs, temporary);
    };
    stateAfter(session, session.copyOf("video_only.mp4"), "", harm,
               "share\nactivity YouTube\nwait text \"isn’t yours any more\" 60\ndump\nstate\n");
    const std::string told =
        "The folder “" + temporary.string() +
        "” isn’t yours any more: something else has taken its place. Remove that, then try again.\"";
    EXPECT_NE(session.output().find(told), std::string::npos) << session.output();
    EXPECT_TRUE(isDangling ? !fs::exists(theirs) : fs::is_empty(theirs));
  }
}
