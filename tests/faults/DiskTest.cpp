// Faults of real disks and files: what a person is told, and that the next save goes well once they are gone.

#include "FaultSession.h"
#include "SmallDisk.h"
#include "tests/common/Files.h"
#include "tests/data/Recordings.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>

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

/// The bytes of which a message says that they "more are needed"; 0 when it doesn't.
double missingIn(const std::string& message) {
  const std::size_t end = message.find("B more are needed"), colon = message.rfind(": ", end);
  if (end == std::string::npos || colon == std::string::npos) return 0;
  return std::stod(message.substr(colon + 2)) * (message[end - 1] == 'M' ? 1e6 : 1e3);
}

bool names(const std::string& message, const fs::path& folder) {
  return message.find("“" + folder.string() + "”") != std::string::npos;
}

}  // namespace

TEST(Disk, ItsTroublesAreToldLoseNothingAndPass) {
  struct Trouble {
    const char *name, *before, *first;
    double saved;       // seconds of what the second try makes
    const char* words;  // of the message, beside the folder's name
    const char* trace;
    bool isInLibrary;      // else in the temporary directory
    bool isStillTrimming;  // afterwards
    std::uint64_t size;    // of a disk of its own; 0: none
    std::function<bool(FaultSession&, const fs::path&place, SmallDisk&)> begin, end;
    bool unprivileged = false;  // root is refused nothing
    const char* second = kSaveAgain;
  };
  using Place = const fs::path&;
  const auto forbid = [](FaultSession&, Place place, SmallDisk&) {
    fs::permissions(place, fs::perms::owner_read | fs::perms::owner_exec);
    return true;
  };
  const auto allow = [](FaultSession&, Place place, SmallDisk&) {
    fs::permissions(place, fs::perms::owner_all);
    return true;
  };
  const auto resize = [](std::uint64_t size) {
    return [=](FaultSession&, Place, SmallDisk& disk) { return disk.resize(size); };
  };
  const auto makeReadOnly = [](FaultSession&, Place, SmallDisk& disk) { return disk.makeReadOnly(); };
  const auto limitFiles = [](rlim_t size) {
    return [=](FaultSession& session, Place, SmallDisk&) {
      const rlimit limit{size, RLIM_INFINITY};
      return session.editor() > 0 && prlimit(session.editor(), RLIMIT_FSIZE, &limit, nullptr) == 0;
    };
  };
  const auto nothing = [](FaultSession&, Place, SmallDisk&) { return true; };
  constexpr const char* kNoRoom = "B more are needed";
  constexpr const char* kForbidden = "You are not allowed to write";
  constexpr std::uint64_t kMega = 1 << 20;
  const std::uint64_t movie = fs::file_size(recordings::path("basic.mp4")) / 4096 * 4096;
  const Trouble troubles[] = {
      {"no right to write in the library", kTrim, "tap Done\n", kTrimmed, kForbidden, "", true, false, 0, forbid, allow,
       true},
      {"no right to write in the temporary directory", kTrim, "tap Done\n", kTrimmed, kForbidden,
       "Export Trim Video Failed, due to error: 13", false, true, 0, forbid, allow, true},
      {"no right to save the recording", "", "tap Save\n", 60, kForbidden, "Error writing video to camera roll: 13",
       true, false, 0, forbid, allow, true},
      // The editor still has hold of the movie.
      {"the temporary directory is gone", kTrim, "tap Done\n", kTrimmed, "", "", false, true, 0,
       [](FaultSession&, Place place, SmallDisk&) { return fs::remove_all(place) > 0; },
       [](FaultSession&, Place place, SmallDisk&) { return fs::create_directory(place); }},
      {"no room for the recording", "", "tap Save\n", 60, kNoRoom, "Error writing video to camera roll: 28", true,
       false, kReserve + movie - 10 * kMega, nothing, resize(kReserve + movie + kMega)},
      {"no room for the trimmed copy in the library", kTrim, "tap Done\n", kTrimmed, kNoRoom, "", true, true, kReserve,
       nothing, resize(2 * kReserve)},
      // What can be had without room still can.
      {"no room for the export", kTrim, "tap Done\n", 60, kNoRoom, "Export Trim Video Failed, due to error: 28", false,
       true, movie + 3 * kReserve / 2, resize(movie + kMega / 4), nothing, false,
       "tap Cancel\nkey Control+S\nwait saved 90\n"},
      // Room would be missing, too, but making some would not help.
      {"a read-only library", kTrim, "tap Done\n", kTrimmed, "read-only", "", true, false, kReserve / 2, makeReadOnly,
       resize(2 * kReserve)},
      {"files that may not grow", kTrim, "tap Done\n", kTrimmed, "", "", false, true, 3 * kReserve, limitFiles(100'000),
       limitFiles(RLIM_INFINITY)}};
  for (const Trouble& each : troubles) {
    SCOPED_TRACE(each.name);
    FaultSession session("basic.mp4");
    session.unprivileged = each.unprivileged;
    fs::create_directory(session.library());
    SmallDisk disk(each.isInLibrary ? session.library() : session.cache, each.size);
    if (each.size != 0 && !disk.isMounted()) GTEST_SKIP() << "small disks need root";
    session.start(each.before, each.first, each.second);
    const fs::path place = each.isInLibrary ? session.library() : session.cache / "zevanti";
    ASSERT_TRUE(each.begin(session, place, disk));
    const std::uint64_t free = disk.freeBytes();
    session.expectFailure();
    EXPECT_TRUE(names(session.message(), place)) << session.message();
    EXPECT_NE(session.message().find(each.words), std::string::npos) << session.message();
    EXPECT_NE(session.errors().find(each.trace), std::string::npos) << session.errors();
    EXPECT_EQ(member(member(session.state(), "flags"), "trimming"), each.isStillTrimming ? "true" : "false");
    if (each.size != 0) {
      EXPECT_EQ(disk.freeBytes(), free);
    }
    const std::string message = session.message();
    ASSERT_TRUE(each.end(session, place, disk));
    expectSecondTryWorks(session, each.saved);
    if (each.isInLibrary && each.words == kNoRoom && !session.saved().empty()) {
      const auto size = static_cast<double>(fs::file_size(session.saved()[0]));
      const double missing = size + kReserve - static_cast<double>(free);
      EXPECT_NEAR(missingIn(message), missing, 0.05 * missing) << message;
    }
  }
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
