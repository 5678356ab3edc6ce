// Recordings and trimmed copies that change, or can't be read any more, while the editor has them open.

#include "FaultSession.h"
#include "tests/common/Files.h"

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

bool isStopped(pid_t process) {
  const std::string status = contentOf("/proc/" + std::to_string(process) + "/status");
  return process > 0 && status.find("\nState:\tT") != std::string::npos;
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

// The editor stands still at some write of an export; the recording changes under it, and it goes on.
TEST(Recordings, ThatChangeDuringAnExportAreTold) {
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
  for (const auto& [name, change, isHarmless] : changes) {
    for (const int call : {2, 4}) {
      SCOPED_TRACE(std::string(name) + " at call " + std::to_string(call));
      FaultSession session("basic.mp4");
      session.injectFault({call}, {"ZEVANTI_FAULT_STOPS=1"});
      session.start(kTrim, "tap Done\n", "");
      const pid_t editor = session.editor();
      session.goOn();
      ASSERT_TRUE(waitUntil(60, [&] { return isStopped(editor); })) << session.errors();
      ASSERT_TRUE(session.saved().empty()) << "the export is over";
      change(session.movie());
      ASSERT_EQ(kill(editor, SIGCONT), 0);
      ASSERT_TRUE(session.reachFailure()) << session.errors();
      const auto calls = session.injected();
      std::printf("%s at %s: %s\n", name, calls[static_cast<std::size_t>(call) - 1].c_str(), session.message().c_str());
      if (isHarmless)
        EXPECT_EQ(session.message(), "");
      else
        EXPECT_TRUE(says(session, kChanged)) << session.message();
      session.expectWholeFilesOnly(kTrimmed, isHarmless ? 1 : 0);
      session.tryAgain();
      session.wait();
      session.expectNothingLeft();
    }
  }
}

// The same while the recording as it is goes into the library.
TEST(Recordings, ThatChangeDuringASaveAreTold) {
  if (!FaultPlan::isPossible()) GTEST_SKIP() << "the sanitizer's runtime and a preloaded library don't go together";
  for (const auto& [change, isHarmless] : {std::pair(&writeInTheMiddle, false), std::pair(&setTime, true)}) {
    SCOPED_TRACE(isHarmless ? "touched" : "written to in the middle");
    FaultSession session("basic.mp4");
    session.injectFault({kHiddenFile}, {"ZEVANTI_FAULT_STOPS=1"});
    session.start("", "tap Save\n", "");
    const pid_t editor = session.editor();
    session.goOn();
    ASSERT_TRUE(waitUntil(60, [&] { return isStopped(editor); })) << session.errors();
    const auto calls = session.injected();
    std::printf("%s\n", calls.back().c_str());
    change(session.movie());
    ASSERT_EQ(kill(editor, SIGCONT), 0);
    session.reachFailure();
    EXPECT_TRUE(isHarmless || says(session, kChanged)) << session.message();
    EXPECT_EQ(session.saved().size(), isHarmless ? 1U : 0U);
    session.tryAgain();
    session.wait();
    EXPECT_EQ(session.saved().size(), isHarmless ? 1U : 0U);
    session.expectNothingLeft();
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
