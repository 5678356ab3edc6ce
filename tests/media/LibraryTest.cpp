#include "platform/Dispatch/dispatch.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/Photos/PhotoLibraryStore.h"
#include "tests/common/Files.h"
#include "tests/faults/SmallDisk.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <thread>

namespace fs = std::filesystem;

namespace {

class Library : public testing::Test {
 protected:
  void SetUp() override {
    dispatch_main::attachToCurrentThread([] {});
    photos_.configure(library_, "Rainfall");
  }

  /// Saves through a change block; the error, or null.
  NSErrorPtr save(const std::string& path) {
    std::atomic<bool> done{false};
    NSErrorPtr result;
    bool succeeded = false;
    photos_.performChanges_completionHandler(
        [&] {
          EXPECT_FALSE(dispatch_is_current(dispatch_get_main_queue()));
          PHAssetChangeRequest::creationRequestForAssetFromVideoAtFileURL(NSURL::fileURLWithPath(path));
        },
        [&](bool success, const NSErrorPtr& error) {
          EXPECT_FALSE(dispatch_is_current(dispatch_get_main_queue()));
          EXPECT_TRUE(photos_.hasPendingSaves());
          succeeded = success;
          result = error;
          done = true;
        });
    EXPECT_TRUE(dispatch_main::runUntil([&] { return done.load(); }, 30));
    EXPECT_EQ(succeeded, result == nullptr);
    return result;
  }

  /// As an activity does that hands the movie to another program; its path in the library, empty after a failure.
  std::string locate(const std::string& path, std::int64_t requiredFreeSpace = 0) {
    std::atomic<bool> done{false};
    std::string found;
    photos_.locateOrSaveMovieAtPath_requiredFreeSpace_completionHandler(
        path, requiredFreeSpace, [&](const std::string& savedPath, const NSErrorPtr& error) {
          EXPECT_FALSE(dispatch_is_current(dispatch_get_main_queue()));
          EXPECT_EQ(savedPath.empty(), error != nullptr);
          found = savedPath;
          done = true;
        });
    EXPECT_TRUE(dispatch_main::runUntil([&] { return done.load(); }, 30));
    return found;
  }

  ScratchFolder scratch_;
  const std::string library_ = scratch_ / "Videos/Zevanti";
  PHPhotoLibrary& photos_ = PHPhotoLibrary::sharedPhotoLibrary();
};

TEST_F(Library, SavesAMovieThatIsToBeFoundOnlyOnce) {
  // One that was saved by the person, under another name.
  std::string content(1'000'000, 'a');
  const std::string trimmed = scratch_.write("ZVZevanti_Trim17.m4v", content);
  ASSERT_FALSE(save(trimmed));
  EXPECT_EQ(locate(trimmed), library_ + "/Rainfall trimmed.m4v");
  EXPECT_EQ(photos_.fileNameForMovieAtPath(trimmed), "Rainfall trimmed.m4v");
  // One that was not, twice.
  const std::string movie = scratch_.write("movie.mp4", content + "b");
  EXPECT_EQ(locate(movie), library_ + "/movie.mp4");
  EXPECT_EQ(locate(movie), library_ + "/movie.mp4");
  // The very file.
  fs::create_hard_link(library_ + "/movie.mp4", scratch_ / "handed over.mp4");
  EXPECT_EQ(locate(scratch_ / "handed over.mp4"), library_ + "/movie.mp4");
  EXPECT_EQ(namesIn(library_), (std::vector<std::string>{"Rainfall trimmed.m4v", "movie.mp4"}));
  // As long and as old, but another.
  const auto age = fs::last_write_time(movie);
  content[500'000] = 'c';
  content.replace(990'000, 10'000, 10'000, 'd');
  fs::last_write_time(scratch_.write("movie.mp4", content + "b"), age);
  EXPECT_EQ(locate(movie), library_ + "/movie 2.mp4");
  const int failed = photos_.failedSaveCount();
  EXPECT_EQ(locate(scratch_ / "missing.mp4"), "");
  EXPECT_EQ(photos_.failedSaveCount(), failed + 1);
}

TEST_F(Library, TheCopyThatSharingMadeIsTheOneThatIsSaved) {
  using Names = std::vector<std::string>;
  const std::string movie = scratch_.write("clip.mp4", std::string(100'000, 'x'));
  ASSERT_EQ(locate(movie), library_ + "/clip.mp4");
  EXPECT_EQ(save(movie), nullptr);
  EXPECT_EQ(namesIn(library_), Names{"clip.mp4"});
  EXPECT_EQ(save(movie), nullptr);
  EXPECT_EQ(namesIn(library_), (Names{"clip 2.mp4", "clip.mp4"})) << "whoever saves twice gets two";
  // The copy has gone, or has become another movie.
  const std::string other = scratch_.write("other.mp4", std::string(100'000, 'o'));
  ASSERT_EQ(locate(other), library_ + "/other.mp4");
  fs::remove(library_ + "/other.mp4");
  EXPECT_EQ(save(other), nullptr);
  EXPECT_TRUE(fs::exists(library_ + "/other.mp4"));
  const std::string edited = scratch_.write("edited.mp4", std::string(100'000, 'e'));
  ASSERT_EQ(locate(edited), library_ + "/edited.mp4");
  const auto age = fs::last_write_time(edited);
  fs::last_write_time(scratch_.write("Videos/Zevanti/edited.mp4", std::string(100'000, 'f')), age);
  EXPECT_EQ(save(edited), nullptr);
  EXPECT_EQ(contentOf(library_ + "/edited 2.mp4"), contentOf(edited));
}

TEST_F(Library, NeverReplacesAndNumbersInstead) {
  const std::string movie = scratch_.write("clip.mp4", "first");
  EXPECT_EQ(save(movie), nullptr);
  scratch_.write("clip.mp4", "second");
  fs::permissions(movie, fs::perms(0600));
  EXPECT_EQ(save(movie), nullptr);
  EXPECT_EQ(fs::status(library_ + "/clip 2.mp4").permissions(), fs::perms(0600)) << "as private as it was";
  fs::create_directory(library_ + "/clip 3.mp4");
  scratch_.write("clip.mp4", "third");
  EXPECT_EQ(save(movie), nullptr);
  EXPECT_EQ(namesIn(library_), (std::vector<std::string>{"clip 2.mp4", "clip 3.mp4", "clip 4.mp4", "clip.mp4"}));
  EXPECT_EQ(contentOf(library_ + "/clip.mp4"), "first");
  EXPECT_EQ(contentOf(library_ + "/clip 2.mp4"), "second");
  EXPECT_EQ(contentOf(library_ + "/clip 4.mp4"), "third");
  EXPECT_EQ(contentOf(movie), "third");
}

TEST_F(Library, NamesAreFitForAPerson) {
  EXPECT_EQ(save(scratch_.write("ZVZevanti_Trim1700000000.m4v", "x")), nullptr);
  photos_.configure(library_, "../up/and\naway");
  EXPECT_EQ(save(scratch_.write("ZVZevanti_Trim1700000001.m4v", "x")), nullptr);
  EXPECT_EQ(save(scratch_.write("no extension", "x")), nullptr);
  EXPECT_EQ(save(scratch_.write(".mp4", "x")), nullptr);
  std::string umlauts;
  for (int i = 0; i < 110; ++i) umlauts += "ü";
  EXPECT_EQ(save(scratch_.write(umlauts + ".mp4", "x")), nullptr);
  const auto names = namesIn(library_);
  const std::vector<std::string> expected{"-up-and-away trimmed.m4v", "Rainfall trimmed.m4v", "mp4.mp4",
                                          "no extension.mp4", umlauts.substr(0, 200) + ".mp4"};
  EXPECT_EQ(names, expected);
}

TEST_F(Library, TheSourceMayGoRightAfterTheCall) {
  const std::string content(3'000'000, 'm');
  const std::string movie = scratch_.write("gone.m4v", content);
  UISaveVideoAtPathToSavedPhotosAlbum(movie);
  EXPECT_TRUE(photos_.hasPendingSaves() || fs::exists(library_ + "/gone.m4v"));
  fs::remove(movie);
  dispatch_main::runUntil([this] { return !photos_.hasPendingSaves(); }, 30);
  EXPECT_EQ(contentOf(library_ + "/gone.m4v"), content);
}

TEST_F(Library, AFailureIsToldAndLeavesNothing) {
  const int before = photos_.failedSaveCount();
  testing::internal::CaptureStderr();
  const NSErrorPtr missing = save(scratch_ / "missing.mp4");
  ASSERT_NE(missing, nullptr);
  EXPECT_EQ(missing->code(), ENOENT);

  scratch_.write("file", "");
  photos_.configure(scratch_ / "file/Zevanti", "Rainfall");
  ASSERT_NE(save(scratch_.write("clip.mp4", "x")), nullptr);
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 2) << told;
  EXPECT_NE(told.find("clip.mp4"), std::string::npos);
  EXPECT_EQ(photos_.failedSaveCount(), before + 2);
}

TEST_F(Library, AFullDiskTellsHowMuchIsMissing) {
  const std::string movie = scratch_.write("big.mp4", std::string(3 << 20, 'm'));
  bool could = false;
  std::thread([&] {  // who alone sees the disk
    SmallDisk disk(library_, 1 << 20);
    could = disk.isMounted();
    const auto source = PhotoLibraryStore::open(movie, nullptr);
    if (!could || !source) return;
    const NSErrorPtr error = PhotoLibraryStore::save(*source, library_, "big", "mp4");
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), ENOSPC);
    EXPECT_NE(error->localizedDescription().find(std::to_string(2 << 20) + " bytes more"), std::string::npos);
    EXPECT_TRUE(fs::is_empty(library_));
  })
      .join();
  if (!could) GTEST_SKIP() << "small disks need root";
}

TEST_F(Library, TheDefaultFolderIsTheDesktopsOwn) {
  const char* keys[] = {"HOME", "XDG_CONFIG_HOME", "XDG_VIDEOS_DIR"};
  std::vector<std::pair<std::string, std::string>> saved;
  for (const char* key : keys) {
    if (const char* value = std::getenv(key)) saved.emplace_back(key, value);
    unsetenv(key);
  }
  setenv("HOME", scratch_.path().c_str(), 1);
  EXPECT_EQ(PhotoLibraryStore::defaultFolder(), scratch_ / "Videos/Zevanti");
  scratch_.write(".config/user-dirs.dirs", "# comment\nXDG_MUSIC_DIR=\"$HOME/M\"\nXDG_VIDEOS_DIR=\"$HOME/Filme\"\n");
  EXPECT_EQ(PhotoLibraryStore::defaultFolder(), scratch_ / "Filme/Zevanti");
  scratch_.write("config/user-dirs.dirs", "XDG_VIDEOS_DIR=\"/media/videos/\"\n");
  setenv("XDG_CONFIG_HOME", (scratch_ / "config").c_str(), 1);
  EXPECT_EQ(PhotoLibraryStore::defaultFolder(), "/media/videos/Zevanti");
  scratch_.write("config/user-dirs.dirs", "XDG_VIDEOS_DIR=\"$HOME/\"\n");  // "none"
  EXPECT_EQ(PhotoLibraryStore::defaultFolder(), scratch_ / "Videos/Zevanti");
  for (const char* key : keys) unsetenv(key);
  for (const auto& [key, value] : saved) setenv(key.c_str(), value.c_str(), 1);
}

}  // namespace
