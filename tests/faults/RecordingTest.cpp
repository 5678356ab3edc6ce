// Recordings and trimmed copies that change, or can't be read any more, while the editor has them open.

#include "FaultSession.h"
#include "tests/common/Files.h"
#include "tests/end_to_end/ProcessFamily.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <csignal>
#include <cstdio>
#include <fstream>

namespace fs = std::filesystem;

namespace {

constexpr const char* kTrim = "drag end 8\nwait editing\ndrag start 4\n";
constexpr double kTrimmed = 4;  // seconds
constexpr int kHiddenFile = 3;  // the call of a save that opens one; the recording has been opened by then
constexpr const char* kChanged = "Another program has changed this recording";

bool says(const FaultSession& session, const char* words) {
  return session.message().find(words) != std::string::npos;
}

/// To less than what is trimmed.
void cutOff(const fs::path& movie) {
  fs::resize_file(movie, fs::file_size(movie) / 20);
}

/// As by another recording of the same length.
void overwrite(const fs::path& movie) {
  std::fstream file(movie, std::ios::in | std::ios::out | std::ios::binary);
  const std::string noise(fs::file_size(movie) / 2, 'x');
  file.write(noise.data(), static_cast<std::streamsize>(noise.size()));
}

/// Some bytes in the middle, which nothing but the kernel's notes and the time tells of.
void writeInTheMiddle(const fs::path& movie) {
  std::fstream file(movie, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(fs::file_size(movie) / 2 + 12345)) << "another picture";
}

/// As by a backup.
void setTime(const fs::path& movie) {
  ASSERT_EQ(utimensat(AT_FDCWD, movie.c_str(), nullptr, 0), 0);
  fs::permissions(movie, fs::perms::others_read, fs::perm_options::remove);
}

/// The name goes to another file; the editor keeps the one that it has opened.
void replace(const fs::path& movie) {
  std::ofstream(movie.parent_path() / "other") << "another file";
  fs::rename(movie.parent_path() / "other", movie);
}

}  // namespace

TEST(Recordings, CutOffWhileTheyAreOpenAreTold) {
  const struct {
    const char *name, *before, *first;
  } cases[] = {{"playing", "tap overlay\nwait playing\n", "wait paused 90\nwait alert 10\n"},
               {"more thumbnails", "", "resize 1100 500\nwait alert 60\n"},
               {"trimming", kTrim, "tap Done\nwait alert 60\n"}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    FaultSession session("video_only.mp4");
    session.start(each.before, each.first, "tap Save\nwait failed\nalert OK\n");
    cutOff(session.movie());  // it is the editor's file as well, by another name
    session.expectFailure();
    EXPECT_TRUE(says(session, kChanged)) << session.message();
    session.tryAgain();
    EXPECT_NE(session.wait(), 0) << "what is left of it is not saved";
    EXPECT_TRUE(session.saved().empty());
    session.expectNothingLeft();
  }
}

// The editor stands still at some call of an export, or of a save of the recording as it is; the recording changes
// under it, and it goes on.
TEST(Recordings, ThatChangeDuringAnExportOrASaveAreTold) {
  if (!FaultPlan::isPossible()) GTEST_SKIP() << "the sanitizer's runtime and a preloaded library don't go together";
  const struct {
    const char* name;
    void (*change)(const fs::path& movie);
    bool isHarmless;
  } changes[] = {{"cut off", cutOff, false},
                 {"overwritten", overwrite, false},
                 {"written to in the middle", writeInTheMiddle, false},
                 {"touched", setTime, true},
                 {"replaced", replace, true}};
  const struct {
    const char *before, *first;
    int call;
    double saved;  // seconds
  } places[] = {
      {kTrim, "tap Done\n", 2, kTrimmed}, {kTrim, "tap Done\n", 4, kTrimmed}, {"", "tap Save\n", kHiddenFile, 60}};
  for (const auto& [name, change, isHarmless] : changes) {
    for (const auto& [before, first, call, saved] : places) {
      SCOPED_TRACE(std::string(name) + " at call " + std::to_string(call));
      FaultSession session("basic.mp4");
      session.injectFault({call}, {"ZEVANTI_FAULT_STOPS=1"});
      session.start(before, first, "");
      const pid_t editor = session.editor();
      session.goOn();
      ASSERT_TRUE(waitUntil(60, [&] { return isStopped(editor); })) << session.errors();
      ASSERT_TRUE(session.saved().empty()) << "the export is over";
      change(session.movie());
      ASSERT_EQ(kill(editor, SIGCONT), 0);
      const bool stayed = session.reachFailure();
      // A save that has succeeded ends the editor, before or after its state is printed.
      const bool isSave = before[0] == '\0';
      EXPECT_TRUE(stayed || (isSave && isHarmless)) << session.errors();
      const auto calls = session.injected();
      std::printf("%s at %s: %s\n", name, calls[static_cast<std::size_t>(call) - 1].c_str(), session.message().c_str());
      EXPECT_TRUE(isHarmless ? session.message().empty() : says(session, kChanged)) << session.message();
      session.expectWholeFilesOnly(saved, isHarmless ? 1 : 0);
      session.tryAgain();
      EXPECT_EQ(session.wait(), !isHarmless ? 1 : isSave ? 3 : 0) << session.errors();  // 3: the script had more
      session.expectNothingLeft();
    }
  }
}

TEST(Recordings, ATrimmedCopyThatCannotBeReadGivesWayToTheRecording) {
  if (!FaultPlan::isPossible()) GTEST_SKIP() << "the sanitizer's runtime and a preloaded library don't go together";
  FaultSession session("basic.mp4");
  session.injectFault({1}, {"ZEVANTI_FAULT_READ=ZVZevanti_Trim"});
  session.start(kTrim, "tap Done\nwait alert 60\nstate\nalert OK\nwait alert 60\n",
                std::string("wait ready 60\n") + kTrim + "tap Done\nwait saved 90\ntap Done\nwait finished 60\n");
  session.expectFailure();
  ASSERT_TRUE(waitUntil(60, [&] { return session.states().size() == 2; })) << session.errors();
  const auto states = session.states();
  // The library can't read it either, and says so before or after.
  EXPECT_NE((states[0] + states[1]).find("The copy of the selected part in “"), std::string::npos) << states[0];
  EXPECT_NE((states[0] + states[1]).find("could not be saved: it can't be read"), std::string::npos) << states[1];
  EXPECT_NEAR(number(states[1], "duration"), 60, 0.1) << states[1];
  fs::remove(session.goOnFile());
  session.tryAgain();
  EXPECT_EQ(session.wait(), 0) << session.errors();
  session.expectWholeFilesOnly(kTrimmed, 1);
  session.expectNothingLeft();
  session.expectMovieUntouched();
}

// As when too many files are open: neither the trimmed copy nor the recording itself can be opened for a while.
TEST(Recordings, ThatCouldNotBeReadAreShownWhenPlayIsTapped) {
  if (!FaultPlan::isPossible()) GTEST_SKIP() << "the sanitizer's runtime and a preloaded library don't go together";
  FaultSession session("basic.mp4");
  session.injectFault({1, EMFILE}, {"ZEVANTI_FAULT_READ=ZVZevanti_Trim:basic.mp4"});
  session.start(kTrim, "tap Done\nwait text \"“basic.mp4” can't be opened: Too many open files\" 60\n",
                "tap Play\nwait ready 60\ntap Play\nwait playing\n",
                "alert OK\nanswer OK\nanswer OK\ntap Play\nwait text \"Too many open files\" 60\nalert OK\ntime\n");
  session.expectFailure();
  // Still not, and then again.
  ASSERT_TRUE(session.waitForOutput("}\n0", 60)) << session.output() << session.errors();
  fs::remove(session.goOnFile());
  session.tryAgain();
  EXPECT_EQ(session.wait(), 1) << "the latest save has failed; " << session.errors();
  session.expectNothingLeft();
}

TEST(Recordings, ThatGiveTheirNameToAnotherAreStillTheOnesThatAreSaved) {
  FaultSession session("basic.mp4");
  const std::string content = contentOf(session.movie());
  session.start("", "tap Save\n", "");
  replace(session.movie());
  session.goOn();
  session.reachFailure();
  session.tryAgain();
  session.wait();
  ASSERT_EQ(session.saved().size(), 1U);
  EXPECT_EQ(contentOf(session.saved()[0]), content);
  EXPECT_EQ(contentOf(session.movie()), "another file");
}
