#include "tests/foundation/SharingVolume.h"
#include "tests/movie_tool/TrimProgram.h"

#include <sys/statvfs.h>

namespace {

class TrimSharing : public TrimProgram {};

/// What is left on the disk of a file that has been opened, in bytes.
std::uint64_t freeBytes(int file) {
  struct statvfs disk {};
  EXPECT_EQ(syncfs(file), 0);
  EXPECT_EQ(fstatvfs(file, &disk), 0);
  return disk.f_bfree * disk.f_frsize;
}

}  // namespace

TEST_F(TrimSharing, TakesNoRoomWhereTheFileSystemSharesBlocks) {
  std::string reason;
  const ScratchFolder scratch;
  const auto volume = SharingVolume::create(scratch.path(), 256 << 20, reason);
  if (!volume) GTEST_SKIP() << reason;
  const std::string movie = volume->path() + "/a.mp4", copy = volume->path() + "/b.mp4";
  std::filesystem::copy_file(recordings::path("basic.mp4"), movie);
  const FileDescriptor source(open(movie.c_str(), O_RDONLY | O_CLOEXEC));
  const std::uint64_t before = freeBytes(source.get());
  const Outcome outcome = trim({movie, "--from", "10.5", "--to", "50.5", "-o", copy});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  const std::uint64_t size = std::filesystem::file_size(copy);
  EXPECT_GT(size, std::filesystem::file_size(movie) / 2);
  EXPECT_LT(before - std::min(before, freeBytes(source.get())), size / 5);
}

TEST_F(TrimSharing, SaysThatTheDiskIsFullAndLeavesNothing) {
  bring("basic.mp4", "a.mp4");
  const ScratchFolder scratch;
  if (geteuid() != 0 || unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", scratch.path().c_str(), "tmpfs", 0, "size=2m") != 0)
    GTEST_SKIP() << "only root can mount a file system";
  const Outcome outcome = trim({"a.mp4", "--to", "50", "-o", scratch / "b.mp4"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.errors.find("not enough room in the folder “" + scratch.path()), std::string::npos)
      << outcome.errors;
  EXPECT_NE(outcome.errors.find(" bytes), as 100 MB of its disk stay free"), std::string::npos) << outcome.errors;
  EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
  // Room for the part and what is to be left free, not for all of the recording beside that.
  EXPECT_EQ(mount("none", scratch.path().c_str(), nullptr, MS_REMOUNT, "size=102m"), 0);
  EXPECT_EQ(trim({"a.mp4", "--to", "15", "-o", scratch / "b.mp4"}).status, 0);
  umount2(scratch.path().c_str(), MNT_DETACH);
}
