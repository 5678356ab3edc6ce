#include "platform/Foundation/NSFileManager.h"
#include "tests/foundation/ScratchFolder.h"

#include <cerrno>
#include <chrono>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

NSFileManager& files() {
  return NSFileManager::defaultManager();
}

double now() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

TEST(FileManager, ReadsTheCreationDateNotTheLastChange) {
  ScratchFolder folder;
  std::string path = folder.write("movie.mp4", "12345");
  auto fresh = files().attributesOfItemAtPath_error(path, nullptr);
  ASSERT_TRUE(fresh);
  EXPECT_EQ(fresh->fileSize, 5);
  EXPECT_FALSE(fresh->isDirectory);
  EXPECT_NEAR(fresh->NSFileCreationDate->timeIntervalSince1970(), now(), 5);

  // Touched later: still created then.
  timespec later[2] = {{4102444800, 0}, {4102444800, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), later, 0), 0);
  auto touched = files().attributesOfItemAtPath_error(path, nullptr);
  EXPECT_EQ(touched->fileModificationDate->timeIntervalSince1970(), 4102444800);
  EXPECT_NEAR(touched->NSFileCreationDate->timeIntervalSince1970(), now(), 5);

  // A copy that carries its original's times was created when the original was last written, at the latest.
  timespec earlier[2] = {{1000000000, 0}, {1000000000, 500000000}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), earlier, 0), 0);
  auto copied = files().attributesOfItemAtPath_error(path, nullptr);
  EXPECT_NEAR(copied->NSFileCreationDate->timeIntervalSince1970(), 1000000000.5, 1e-3);
}

TEST(FileManager, MissingEntriesGiveTheSystemsCode) {
  ScratchFolder folder;
  NSErrorPtr error;
  EXPECT_FALSE(files().attributesOfItemAtPath_error(folder / "none", &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
  EXPECT_NE(error->localizedDescription().find("none"), std::string::npos);

  error = nullptr;
  EXPECT_FALSE(files().removeItemAtPath_error(folder / "none", &error));
  EXPECT_EQ(error->code(), ENOENT);
  EXPECT_FALSE(files().contentsOfDirectoryAtPath_error(folder / "none", &error));
  EXPECT_FALSE(files().fileSystemFreeSizeForPath_error(folder / "none", nullptr));
  EXPECT_TRUE(files().fileSystemFreeSizeForPath_error(folder.path(), nullptr));
}

TEST(FileManager, MovingNeverReplaces) {
  ScratchFolder folder;
  std::string from = folder.write("new", "new"), to = folder.write("old", "old");
  NSErrorPtr error;
  EXPECT_FALSE(files().moveItemAtURL_toURL_error(NSURL::fileURLWithPath(from), NSURL::fileURLWithPath(to), &error));
  EXPECT_EQ(error->code(), EEXIST);
  EXPECT_EQ(files().attributesOfItemAtPath_error(to, nullptr)->fileSize, 3);
  EXPECT_TRUE(files().fileExistsAtPath(from));
  EXPECT_TRUE(files().moveItemAtURL_toURL_error(NSURL::fileURLWithPath(from), NSURL::fileURLWithPath(folder / "third"),
                                                &error));
  EXPECT_FALSE(files().fileExistsAtPath(from));
}

TEST(FileManager, MakesAFileOnlyWhereThereIsNone) {
  ScratchFolder folder;
  NSErrorPtr error;
  const mode_t before = umask(0);
  ASSERT_TRUE(files().createFileAtPath_error(folder / "new", &error));
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat((folder / "new").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  EXPECT_EQ(status.st_size, 0);
  const std::string old = folder.write("old", "stays");
  EXPECT_FALSE(files().createFileAtPath_error(old, &error));
  EXPECT_EQ(error->code(), EEXIST);
  EXPECT_EQ(files().attributesOfItemAtPath_error(old, nullptr)->fileSize, 5);
  EXPECT_FALSE(files().createFileAtPath_error(folder / "no such folder/new", &error));
  EXPECT_EQ(error->code(), ENOENT);
}

TEST(FileManager, MovesBetweenFileSystemsWithTheTimes) {
  char other[] = "/dev/shm/zevanti-test-XXXXXX";
  ScratchFolder folder;
  struct stat here, there;
  if (!mkdtemp(other)) GTEST_SKIP() << "no second file system to write to";
  stat(folder.path().c_str(), &here);
  stat(other, &there);
  if (here.st_dev == there.st_dev) GTEST_SKIP() << "one file system only";
  std::string from = folder.write("movie", std::string(3 << 20, 'm')), to = std::string(other) + "/moved";
  timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
  utimensat(AT_FDCWD, from.c_str(), times, 0);
  EXPECT_TRUE(files().moveItemAtURL_toURL_error(NSURL::fileURLWithPath(from), NSURL::fileURLWithPath(to), nullptr));
  EXPECT_FALSE(files().fileExistsAtPath(from));
  auto moved = files().attributesOfItemAtPath_error(to, nullptr);
  ASSERT_TRUE(moved);
  EXPECT_EQ(moved->fileSize, 3 << 20);
  EXPECT_EQ(moved->fileModificationDate->timeIntervalSince1970(), 1000000000);
  std::filesystem::remove_all(other);
}

TEST(FileManager, APrivateFolderIsPrivateWhateverTheUmask) {
  ScratchFolder folder;
  mode_t before = umask(0777);
  EXPECT_TRUE(files().createDirectoryAtPath_error(folder / "private", true, nullptr));
  umask(before);
  struct stat status;
  ASSERT_EQ(stat((folder / "private").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
  NSErrorPtr error;
  EXPECT_FALSE(files().createDirectoryAtPath_error(folder / "private", true, &error));
  EXPECT_EQ(error->code(), EEXIST);
}

}  // namespace
