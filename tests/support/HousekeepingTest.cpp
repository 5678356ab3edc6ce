#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/os_trace.h"
#include "support/NSFileManagerZVExtensions.h"
#include "tests/faults/SmallDisk.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace fs = std::filesystem;
using namespace ZVExtensions;

namespace {

// Before any other static value is made, because the temporary directory's path is one of them.
[[gnu::constructor(101)]] void useACacheOfOurOwn() {
  std::string pattern = (std::filesystem::temp_directory_path() / "zevanti-support-test-XXXXXX").string();
  const char* folder = mkdtemp(pattern.data());
  if (!folder) std::abort();
  setenv("XDG_CACHE_HOME", folder, 1);
}

const NSFileManager& files() {
  return NSFileManager::defaultManager();
}

/// The path itself, without the separator at its end.
fs::path folder() {
  return fs::path(ZVScreenRecorderTempDirectory).parent_path();
}

/// Makes a file of `size` bytes that was last modified `age` seconds ago.
void put(const std::string& name, std::uintmax_t size, double age = 0) {
  const fs::path path = folder() / name;
  fs::create_directories(path.parent_path());
  std::ofstream(path) << std::string(size, 'x');
  const double then = NSDate::date().timeIntervalSince1970() - age;
  timespec times[2] = {{0, UTIME_OMIT}, {}};
  times[1].tv_sec = static_cast<time_t>(std::floor(then));
  times[1].tv_nsec = static_cast<long>((then - std::floor(then)) * 1e9);
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

std::set<std::string> names() {
  std::set<std::string> found;
  for (const auto& entry : fs::directory_iterator(folder())) found.insert(entry.path().filename());
  return found;
}

/// What was traced since the last call, errors with a leading "!".
std::vector<std::string> traces() {
  std::vector<std::string> texts;
  for (const TraceMessage& message : trace_log::messages())
    texts.push_back((message.level == TraceLevel::Error ? "!" : "") + message.text);
  trace_log::clear();
  return texts;
}

using Texts = std::vector<std::string>;

class HousekeepingTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(folder());
    trace_log::clear();
  }
  void TearDown() override { fs::remove_all(folder().parent_path()); }
  static void waitForWork() { ASSERT_TRUE(dispatch_main::waitForBackgroundWork(20)); }
};

TEST_F(HousekeepingTest, MakesTheDirectoryOnceAndForItsUserOnly) {
  fs::remove(folder());
  umask(0);
  _srSetupTempDirectory(files());
  EXPECT_EQ(fs::status(folder()).permissions(), fs::perms::owner_all);
  EXPECT_EQ(traces(), Texts{"_srSetupTempDirectory"});

  put("kept", 1);
  _srSetupTempDirectory(files());
  EXPECT_EQ(names(), std::set<std::string>{"kept"});
  EXPECT_EQ(traces(), Texts{"_srSetupTempDirectory"});

  // Whatever has the name stays.
  fs::remove_all(folder());
  for (const bool isLink : {false, true}) {
    isLink ? fs::create_symlink("nowhere", folder()) : void(std::ofstream(folder()));
    _srSetupTempDirectory(files());
    EXPECT_EQ(traces(), Texts{"_srSetupTempDirectory"});
    EXPECT_TRUE(fs::remove(folder()));
  }

  fs::remove_all(folder().parent_path());  // not on the way there
  _srSetupTempDirectory(files());
  EXPECT_FALSE(fs::exists(folder()));
  const auto texts = traces();
  ASSERT_EQ(texts.size(), 3U);
  EXPECT_TRUE(texts[1].starts_with("error: Error Domain=NSPOSIXErrorDomain Code=2 ")) << texts[1];
  EXPECT_EQ(texts[2], "!error creating temp directory");
}

TEST_F(HousekeepingTest, TellsTheSizeOfTheEntryItself) {
  struct stat status;
  ASSERT_EQ(stat(folder().c_str(), &status), 0);
  put("movie", 100'000);
  NSErrorPtr error;
  ASSERT_EQ(stat(folder().c_str(), &status), 0);
  EXPECT_EQ(_srSizeOfTempDir(files(), &error), status.st_size);
  EXPECT_EQ(error, nullptr);

  fs::remove_all(folder());
  EXPECT_EQ(_srSizeOfTempDir(files(), &error), 0);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_EQ(_srSizeOfTempDir(files(), nullptr), 0);
}

TEST_F(HousekeepingTest, RemovesWhatIsOlderThanItsTime) {
  put("old.m4v", 1000, 101);
  put(".hidden", 20, 5000);
  put("young.m4v", 3, 80);
  EXPECT_EQ(_srDeleteFilesOlderThanTimeToLiveInSeconds(files(), 90.9), 1020);
  EXPECT_EQ(names(), std::set<std::string>{"young.m4v"});
  EXPECT_EQ(traces(),
            (Texts{"_srDeleteFilesOlderThanTimeToLiveInSeconds: 90", "deleting old file", "deleting old file"}));

  // The last change counts, not the file's birth, which is now; and what comes from the future is no older than that.
  put("from-tomorrow", 7, -86'400);
  EXPECT_EQ(_srDeleteFilesOlderThanTimeToLiveInSeconds(files(), -3.7), 3);
  EXPECT_EQ(names(), std::set<std::string>{"from-tomorrow"});
  EXPECT_EQ(traces()[0], "_srDeleteFilesOlderThanTimeToLiveInSeconds: -3");

  for (const double forever : {1e300, std::numeric_limits<double>::infinity(), std::nan("")})
    EXPECT_EQ(_srDeleteFilesOlderThanTimeToLiveInSeconds(files(), forever), 0);
  EXPECT_EQ(names().size(), 1U);
  EXPECT_EQ(traces(), (Texts{"_srDeleteFilesOlderThanTimeToLiveInSeconds: 2147483647",
                             "_srDeleteFilesOlderThanTimeToLiveInSeconds: 2147483647",
                             "_srDeleteFilesOlderThanTimeToLiveInSeconds: 0"}));
}

TEST_F(HousekeepingTest, RemovesEverythingButNothingElsewhere) {
  ScratchFolder elsewhere;
  const std::string recording = elsewhere.write("recording.mp4", "precious");
  put("now", 10);
  put("from-tomorrow", 7, -86'400);
  put("folder/deep/inside", 12'345);
  const auto folderSize = files().attributesOfItemAtPath_error((folder() / "folder").string(), nullptr)->fileSize;
  fs::create_symlink(recording, folder() / "link");
  fs::create_directory_symlink(elsewhere.path(), folder() / "folder/link");
  fs::create_symlink("nowhere", folder() / "dangling");
  const auto linkSizes = static_cast<std::int64_t>(recording.size() + std::string("nowhere").size());
  EXPECT_EQ(_srDeleteAllTempFiles(files()), 10 + 7 + folderSize + linkSizes);
  EXPECT_TRUE(names().empty());
  EXPECT_EQ(fs::file_size(recording), 8U);
  EXPECT_EQ(traces()[0], "_srDeleteFilesOlderThanTimeToLiveInSeconds: 0");

  fs::remove(folder());
  EXPECT_EQ(_srDeleteAllTempFiles(files()), 0);
  const auto texts = traces();
  ASSERT_EQ(texts.size(), 3U);
  EXPECT_EQ(texts[1], "!error in _zxRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: 2");
  EXPECT_TRUE(texts[2].starts_with("error = Error Domain=NSPOSIXErrorDomain Code=2 ")) << texts[2];
}

TEST_F(HousekeepingTest, RemovesNothingBehindALinkInTheDirectorysPlace) {
  ScratchFolder elsewhere;
  elsewhere.write("recording.mp4", "precious");
  fs::remove(folder());
  fs::create_directory_symlink(elsewhere.path(), folder());
  EXPECT_EQ(_srDeleteAllTempFiles(files()), 0);
  EXPECT_EQ(_srDeleteFilesOlderThanTimeToLiveInSeconds(files(), -1), 0);
  _srDeleteFilesWithPrefix(files(), "rec");
  waitForWork();
  EXPECT_EQ(names(), std::set<std::string>{"recording.mp4"});
  EXPECT_EQ(traces()[1], "!error in _zxRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: 20");
  fs::remove(folder());
}

TEST_F(HousekeepingTest, RemovesByTheBeginningOfTheName) {
  for (const char* name : {"ZVZevanti_Trim1.m4v", "zvzevanti_trim2.m4v", "another ZVZevanti_Trim3.m4v", "Über-a",
                           "uber-b", "U\u0308BER-c", "übrig", "straße", "STRASSE", "\xff\xfe"})
    put(name, 1);
  put("ZVZEVANTI_TRIM folder/inside", 1);
  _srDeleteFilesWithPrefix(files(), "ZVzevanti_Trim");
  _srDeleteFilesWithPrefix(files(), "uber");
  _srDeleteFilesWithPrefix(files(), "Strass");
  _srDeleteFilesWithPrefix(files(), "");
  _srDeleteFilesWithPrefix(files(), "\xff");
  waitForWork();
  EXPECT_EQ(names(), (std::set<std::string>{"another ZVZevanti_Trim3.m4v", "übrig", "\xff\xfe"}));
  EXPECT_EQ(traces(), Texts{});

  fs::remove_all(folder());
  _srDeleteFilesWithPrefix(files(), "a");
  waitForWork();
  EXPECT_EQ(traces(), Texts{});
}

TEST_F(HousekeepingTest, MovesInTheBackground) {
  const auto move = [](const std::string& from, const std::string& to) {
    std::atomic<int> calls = 0;
    NSErrorPtr result;
    _srMoveFileFromURL_toURL_completion(
        files(), NSURL::fileURLWithPath((folder() / from).string()), NSURL::fileURLWithPath((folder() / to).string()),
        [&](const NSErrorPtr& error) {
          EXPECT_TRUE(dispatch_is_current(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT)));
          result = error;
          ++calls;
        });
    waitForWork();
    EXPECT_EQ(calls, 1);
    return result;
  };
  put("movie", 5);
  EXPECT_EQ(move("movie", "moved"), nullptr);
  EXPECT_EQ(names(), std::set<std::string>{"moved"});

  put("other/inside", 6);  // what is there is replaced
  EXPECT_EQ(move("moved", "other"), nullptr);
  EXPECT_EQ(names(), std::set<std::string>{"other"});
  EXPECT_EQ(fs::file_size(folder() / "other"), 5U);

  // And not lost when it is the same.
  fs::create_directory_symlink(".", folder() / "here");
  for (const char* same : {"./other", "here/other"}) {
    EXPECT_EQ(move("other", same), nullptr);
    EXPECT_EQ(names(), (std::set<std::string>{"here", "other"}));
  }
  fs::remove(folder() / "here");
  EXPECT_EQ(traces(), Texts{});

  const NSErrorPtr error = move("missing", "other");
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_TRUE(names().empty());
  EXPECT_EQ(traces(), Texts{"!_zxMoveFileFromURL error: 2"});

  put("movie", 5);
  _srMoveFileFromURL_toURL_completion(files(), NSURL::fileURLWithPath((folder() / "movie").string()),
                                      NSURL::fileURLWithPath((folder() / "moved").string()), nullptr);
  waitForWork();
  EXPECT_EQ(names(), std::set<std::string>{"moved"});
}

TEST_F(HousekeepingTest, AsksForMoreThanTheRequiredSpace) {
  bool could = false;
  std::thread([&] {
    // Whole pages around the limit, which is no multiple of one; and more than 32 bits hold.
    for (const auto& [size, isEnough] :
         {std::pair<std::uint64_t, bool>{99'999'744, false}, {100'003'840, true}, {5ULL << 30, true}}) {
      SmallDisk disk(folder(), size);
      if (!disk.isMounted()) return;
      could = true;
      EXPECT_EQ(_srDeviceFreeDiskSpace(files()), size);
      EXPECT_EQ(_srDeviceHasSufficientFreeSpaceForRecording(files()), isEnough) << size;
    }
  }).join();
  EXPECT_GT(_srMissingSpaceForBytes_inFolder(files(), std::numeric_limits<std::int64_t>::max(), folder()), 0);
  fs::remove(folder());
  EXPECT_EQ(_srDeviceFreeDiskSpace(files()), 0U);
  EXPECT_FALSE(_srDeviceHasSufficientFreeSpaceForRecording(files()));
  if (!could) GTEST_SKIP() << "no right to mount a small disk";
}

TEST_F(HousekeepingTest, GoesOnAfterWhatCantBeRemoved) {
  bool could = false;
  std::thread([&] {
    SmallDisk disk(folder(), 1 << 20);
    if (!disk.isMounted()) return;
    put("a", 10, 100);
    put("b", 10, 100);
    if (!disk.makeReadOnly()) return;
    could = true;
    EXPECT_EQ(_srDeleteFilesOlderThanTimeToLiveInSeconds(files(), 50), 0);
    EXPECT_EQ(names().size(), 2U);
  }).join();
  if (!could) GTEST_SKIP() << "no right to mount a small disk";
  const auto texts = traces();
  ASSERT_EQ(texts.size(), 7U);
  for (const size_t at : {1U, 4U}) {
    EXPECT_EQ(texts[at], "deleting old file");
    EXPECT_EQ(texts[at + 1], "!error in _zxRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: 30");
    EXPECT_TRUE(texts[at + 2].starts_with("error = Error Domain=NSPOSIXErrorDomain Code=30 ")) << texts[at + 2];
  }
}

// A directory that tells the names of what is in it, and later more, but lets nothing be removed.
TEST_F(HousekeepingTest, ReportsWhatItMayNotTouch) {
  put("old", 10, 100);
  const std::string old = (folder() / "old").string();
  fs::permissions(folder().parent_path(), fs::perms(0711));
  const bool isRoot = geteuid() == 0;  // who is refused nothing
  if (isRoot) {
    ASSERT_EQ(chown(folder().c_str(), 65534, 65534), 0);
    ASSERT_EQ(seteuid(65534), 0);
  }
  fs::permissions(folder(), fs::perms::owner_read);
  EXPECT_EQ(_srDeleteFilesOlderThanTimeToLiveInSeconds(files(), 50), 0);
  const Texts left = traces();
  EXPECT_EQ(_srDeleteAllTempFiles(files()), 0);
  const Texts tried = traces();
  fs::permissions(folder(), fs::perms::owner_read | fs::perms::owner_exec);
  _srDeleteFilesWithPrefix(files(), "o");
  waitForWork();
  std::atomic<int> code{0};
  _srRemoveFile_completion(files(), NSURL::fileURLWithPath(old),
                           [&](const NSErrorPtr& error) { code = error->code(); });
  waitForWork();
  if (isRoot) {
    ASSERT_EQ(seteuid(0), 0);
  }

  constexpr const char* kError = "!error in _zxRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: 13";
  ASSERT_EQ(left.size(), 3U);
  EXPECT_EQ(left[1], kError);
  ASSERT_EQ(tried.size(), 6U);
  EXPECT_EQ(tried[1], kError);
  EXPECT_EQ(tried[3], "deleting old file");
  EXPECT_EQ(tried[4], kError);
  EXPECT_EQ(traces(), (Texts{"!_zxDeleteFilesWithPrefix error: 13", "_zxRemoveFile error: 13"}));
  EXPECT_EQ(code, 13);
  EXPECT_TRUE(fs::exists(old));
}

}  // namespace
