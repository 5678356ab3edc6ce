// Faults of real disks and files: what a person is told, and that the next save goes well once they are gone.

#include "FaultSession.h"
#include "SmallDisk.h"
#include "tests/common/Files.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <cstdio>
#include <ctime>
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

}  // namespace

TEST(Disk, WithoutRoomNothingIsBegunAndTheRoomThatIsMissingIsTold) {
  FaultSession session("basic.mp4");
  const std::uint64_t size = fs::file_size(session.movie()) / 4096 * 4096;
  SmallDisk library(session.library(), kReserve + size - (10 << 20));
  if (!library.isMounted()) GTEST_SKIP() << "small disks need root";
  const std::uint64_t free = library.freeBytes();
  session.start("", "tap Save\n", "key Control+S\nwait saved 90\n");
  session.expectFailure();
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
  session.expectFailure();
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
  ASSERT_TRUE(library.setReadOnly(true));
  session.expectFailure();
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
  const std::uint64_t free = temporary.freeBytes();
  const pid_t editor = session.editor();
  ASSERT_GT(editor, 0);
  rlimit before{};
  const rlimit small{100'000, RLIM_INFINITY};
  ASSERT_EQ(prlimit(editor, RLIMIT_FSIZE, &small, &before), 0);
  session.expectFailure();
  EXPECT_TRUE(names(session.message(), session.cache / "zevanti")) << session.message();
  EXPECT_EQ(temporary.freeBytes(), free);
  ASSERT_EQ(prlimit(editor, RLIMIT_FSIZE, &before, nullptr), 0);
  expectSecondTryWorks(session, kTrimmed);
}

TEST(Disk, ATemporaryFolderThatIsGoneIsTold) {
  FaultSession session("basic.mp4");
  session.start(kTrim, "tap Done\n", kSaveAgain);
  fs::remove_all(session.cache / "zevanti");
  session.expectFailure();
  EXPECT_TRUE(names(session.message(), session.cache / "zevanti")) << session.message();
  fs::create_directory(session.cache / "zevanti");
  // The editor still has hold of the movie.
  expectSecondTryWorks(session, kTrimmed);
}

// Somebody who can write in the cache folder puts a link, or a folder of theirs, in the temporary directory's place.
TEST(Disk, AFolderOfSomebodyElseInTheTemporaryOnesPlaceIsNotTouched) {
  for (const bool link : {true, false}) {
    if (!link && geteuid() != 0) continue;
    SCOPED_TRACE(link ? "link" : "folder of another user");
    FaultSession session("basic.mp4");
    session.start(kTrim, "tap Done\n", kSaveAgain);
    const fs::path temporary = session.cache / "zevanti", theirs = link ? session.folder() / "theirs" : temporary;
    fs::rename(temporary, session.cache / "moved");
    fs::create_directory(theirs);
    fs::permissions(theirs, fs::perms::all);
    std::ofstream(theirs / "precious") << "theirs";
    if (link)
      fs::create_directory_symlink(theirs, temporary);
    else
      ASSERT_EQ(chown(theirs.c_str(), 65534, 65534), 0);
    session.expectFailure();
    EXPECT_TRUE(names(session.message(), temporary)) << session.message();
    EXPECT_NE(session.message().find("isn’t yours"), std::string::npos) << session.message();
    EXPECT_EQ(std::distance(fs::directory_iterator(theirs), {}), 1);
    EXPECT_EQ(contentOf(theirs / "precious"), "theirs");
    fs::remove_all(temporary);
    fs::rename(session.cache / "moved", temporary);
    expectSecondTryWorks(session, kTrimmed);
  }
}

TEST(Disk, ALinkAtTheNameOfACopyIsNotFollowed) {
  FaultSession session("basic.mp4");
  const fs::path victim = session.folder() / "victim";
  std::ofstream(victim) << "precious";
  fs::create_directories(session.library());
  fs::create_symlink(victim, session.library() / (session.movie().stem().string() + ".mp4"));
  session.start(kTrim, "tap Done\n", kSaveAgain);
  std::vector<fs::path> links;
  const std::time_t now = std::time(nullptr);
  constexpr std::time_t seconds = 90;
  for (std::time_t second = now; second < now + seconds; ++second) {
    links.push_back(session.cache / "zevanti" / ("ZVZevanti_Trim" + std::to_string(second) + ".m4v"));
    fs::create_symlink(victim, links.back());
  }
  session.expectFailure();
  EXPECT_NE(session.message(), "");
  std::printf("%s\n", session.message().c_str());
  EXPECT_EQ(contentOf(victim), "precious");
  for (const fs::path& link : links) {
    EXPECT_TRUE(fs::is_symlink(link)) << link;
    fs::remove(link);
  }
  fs::remove(session.library() / (session.movie().stem().string() + ".mp4"));
  expectSecondTryWorks(session, kTrimmed);
}

TEST(Disk, ALibraryThatIsGoneIsMadeAgain) {
  FaultSession session("basic.mp4");
  fs::create_directory(session.library());
  session.start(kTrim, "tap Done\n", kSaveAgain);
  fs::remove_all(session.library());
  session.expectFailure();
  EXPECT_EQ(session.message(), "");
  session.expectWholeFilesOnly(kTrimmed, 1);
  session.tryAgain();
  EXPECT_EQ(session.wait(), 0) << session.errors();
}

// Root is refused nothing: the editor runs as somebody else.
TEST(Disk, AFolderThatMayNotBeWrittenIsTold) {
  enum class Place { Library, TemporaryFolder };
  const struct {
    const char *name, *before, *first;
    Place place;
    double saved;
  } cases[] = {{"a trimmed copy, the library", kTrim, "tap Done\n", Place::Library, kTrimmed},
               {"a trimmed copy, the temporary folder", kTrim, "tap Done\n", Place::TemporaryFolder, kTrimmed},
               {"the recording, the library", "", "tap Save\n", Place::Library, 60}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    FaultSession session("basic.mp4");
    session.unprivileged = true;
    fs::create_directory(session.library());
    session.start(each.before, each.first, kSaveAgain);
    const fs::path place = each.place == Place::Library ? session.library() : session.cache / "zevanti";
    fs::permissions(place, fs::perms::owner_read | fs::perms::owner_exec);
    session.expectFailure();
    EXPECT_TRUE(names(session.message(), place)) << session.message();
    EXPECT_NE(session.message().find("You are not allowed to write"), std::string::npos) << session.message();
    fs::permissions(place, fs::perms::owner_all);
    expectSecondTryWorks(session, each.saved);
  }
}
