// Faults of real disks and files: what a person is told, and that the next save goes well once they are gone.

#include "FaultSession.h"
#include "SmallDisk.h"
#include "tests/common/Files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <cstdio>
#include <fstream>

namespace fs = std::filesystem;

namespace {

constexpr const char* kTrim = "drag end 8\nwait editing\ndrag start 4\n";
constexpr double kTrimmed = 4;  // seconds
constexpr const char* kSaveAgain = "wait ready\nkey Control+S\nwait saved 90\n";
constexpr std::uint64_t kReserve = 100'000'000;  // bytes that are to be left free

/// The end of a session whose second try is to go well.
void expectSecondTryWorks(FaultSession& session, double length) {
  session.expectWholeFilesOnly(length, 0);
  EXPECT_TRUE(session.saved().empty());
  session.tryAgain();
  EXPECT_EQ(session.wait(), 0) << session.errors();
  session.expectWholeFilesOnly(length, 1);
  session.expectNothingLeft();
  session.expectMovieUntouched();
}

bool names(const std::string& message, const fs::path& folder) {
  return message.find("“" + folder.string() + "”") != std::string::npos;
}

/// The editor's process, which the host has started; 0 when there is none.
pid_t editorOf(pid_t host) {
  const std::string list = "/proc/" + std::to_string(host) + "/task/" + std::to_string(host) + "/children";
  std::ifstream children(list);
  for (pid_t child; children >> child;) {
    std::ifstream name("/proc/" + std::to_string(child) + "/comm");
    std::string program;
    if (std::getline(name, program) && program.starts_with("ZVVideoEditorE")) return child;
  }
  return 0;
}

}  // namespace

TEST(Disk, WithoutRoomNothingIsBegunAndTheRoomThatIsMissingIsTold) {
  FaultSession session("basic.mp4");
  const std::uint64_t size = fs::file_size(session.movie()) / 4096 * 4096;
  SmallDisk library(session.library(), kReserve + size - (10 << 20));
  if (!library.isMounted()) GTEST_SKIP() << "small disks need root";
  const std::uint64_t free = library.freeBytes();
  session.start("", "tap Save\n", "key Control+S\nwait saved 90\n");
  ASSERT_TRUE(session.reachPoint()) << session.errors();
  session.goOn();
  ASSERT_TRUE(session.reachFailure());
  EXPECT_TRUE(names(session.message(), session.library())) << session.message();
  EXPECT_NE(session.message().find(" MB more are needed"), std::string::npos) << session.message();
  EXPECT_EQ(library.freeBytes(), free);
  EXPECT_NE(session.errors().find("Error writing video to camera roll: 28"), std::string::npos) << session.errors();
  ASSERT_TRUE(library.resize(kReserve + size + (1 << 20)));
  session.tryAgain();
  EXPECT_EQ(session.wait(), 0) << session.errors();
  ASSERT_EQ(session.saved().size(), 1U);
  EXPECT_EQ(contentOf(session.saved()[0]), contentOf(session.movie()));
  session.expectNothingLeft();
}

TEST(Disk, ATrimmedCopyNeedsRoomInTheLibraryToo) {
  FaultSession session("basic.mp4");
  SmallDisk library(session.library(), kReserve);
  if (!library.isMounted()) GTEST_SKIP() << "small disks need root";
  session.start(kTrim, "tap Done\n", kSaveAgain);
  ASSERT_TRUE(session.reachPoint()) << session.errors();
  session.goOn();
  ASSERT_TRUE(session.reachFailure());
  EXPECT_TRUE(names(session.message(), session.library())) << session.message();
  EXPECT_EQ(member(member(session.state(), "flags"), "trimming"), "true");
  ASSERT_TRUE(library.resize(2 * kReserve));
  expectSecondTryWorks(session, kTrimmed);
}

TEST(Disk, AReadOnlyLibraryIsToldAndTheTrimmedCopyCanBeSavedLater) {
  FaultSession session("basic.mp4");
  SmallDisk library(session.library(), 2 * kReserve);
  if (!library.isMounted()) GTEST_SKIP() << "small disks need root";
  session.start(kTrim, "tap Done\n", kSaveAgain);
  ASSERT_TRUE(session.reachPoint()) << session.errors();
  ASSERT_TRUE(library.setReadOnly(true));
  session.goOn();
  ASSERT_TRUE(session.reachFailure());
  EXPECT_TRUE(names(session.message(), session.library())) << session.message();
  EXPECT_NE(session.message().find("read-only"), std::string::npos) << session.message();
  // The export itself went well: its movie is on screen.
  EXPECT_NEAR(number(session.state(), "duration"), kTrimmed, 0.1);
  ASSERT_TRUE(library.setReadOnly(false));
  expectSecondTryWorks(session, kTrimmed);
}

TEST(Disk, AFileThatMayNotGrowIsToldAndItsRoomGivenBack) {
  FaultSession session("basic.mp4");
  SmallDisk temporary(session.cache, 3 * kReserve);
  if (!temporary.isMounted()) GTEST_SKIP() << "small disks need root";
  session.start(kTrim, "tap Done\n", kSaveAgain);
  ASSERT_TRUE(session.reachPoint()) << session.errors();
  const std::uint64_t free = temporary.freeBytes();
  const pid_t editor = editorOf(session.process());
  ASSERT_GT(editor, 0);
  rlimit before{};
  const rlimit small{100'000, RLIM_INFINITY};
  ASSERT_EQ(prlimit(editor, RLIMIT_FSIZE, &small, &before), 0);
  session.goOn();
  ASSERT_TRUE(session.reachFailure());
  EXPECT_TRUE(names(session.message(), session.cache / "zevanti")) << session.message();
  EXPECT_EQ(temporary.freeBytes(), free);
  ASSERT_EQ(prlimit(editor, RLIMIT_FSIZE, &before, nullptr), 0);
  expectSecondTryWorks(session, kTrimmed);
}

TEST(Disk, ATemporaryFolderThatIsGoneIsTold) {
  FaultSession session("basic.mp4");
  session.start(kTrim, "tap Done\n", kSaveAgain);
  ASSERT_TRUE(session.reachPoint()) << session.errors();
  fs::remove_all(session.cache / "zevanti");
  session.goOn();
  ASSERT_TRUE(session.reachFailure());
  EXPECT_TRUE(names(session.message(), session.cache / "zevanti")) << session.message();
  fs::create_directory(session.cache / "zevanti");
  // The editor still has hold of the movie.
  expectSecondTryWorks(session, kTrimmed);
}

TEST(Disk, ALibraryThatIsGoneIsMadeAgain) {
  FaultSession session("basic.mp4");
  fs::create_directory(session.library());
  session.start(kTrim, "tap Done\n", kSaveAgain);
  ASSERT_TRUE(session.reachPoint()) << session.errors();
  fs::remove_all(session.library());
  session.goOn();
  ASSERT_TRUE(session.reachFailure());
  EXPECT_EQ(session.message(), "");
  session.expectWholeFilesOnly(kTrimmed, 1);
  session.tryAgain();
  EXPECT_EQ(session.wait(), 0) << session.errors();
}

TEST(Disk, ARecordingThatIsCutOffWhileItPlaysIsTold) {
  FaultSession session("video_only.mp4");
  session.start("tap overlay\nwait playing\n", "wait paused 90\nwait alert 10\n", "tap Save\nwait failed\nalert OK\n");
  ASSERT_TRUE(session.reachPoint()) << session.errors();
  // It is the editor's file as well, by another name.
  fs::resize_file(session.movie(), fs::file_size(session.movie()) / 4);
  session.goOn();
  ASSERT_TRUE(session.reachFailure());
  EXPECT_NE(session.message().find("Another program has changed this recording"), std::string::npos)
      << session.message();
  session.tryAgain();
  EXPECT_EQ(session.wait(), 1) << session.errors();  // what is left of it is not saved
  EXPECT_TRUE(session.saved().empty());
  session.expectNothingLeft();
}

TEST(Disk, ARecordingThatGivesItsNameToAnotherIsStillTheOneThatIsSaved) {
  FaultSession session("basic.mp4");
  const std::string content = contentOf(session.movie());
  session.start("", "tap Save\n", "");
  ASSERT_TRUE(session.reachPoint()) << session.errors();
  std::ofstream(session.folder() / "other") << "another file";
  fs::rename(session.folder() / "other", session.movie());
  session.goOn();
  session.reachFailure();
  session.tryAgain();
  session.wait();
  ASSERT_EQ(session.saved().size(), 1U);
  EXPECT_EQ(contentOf(session.saved()[0]), content);
  EXPECT_EQ(contentOf(session.movie()), "another file");
}
