#include "tests/foundation/SharingVolume.h"
#include "tests/movie_tool/TrimProgram.h"

#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

namespace {

class TrimSharing : public TrimProgram {};

/// Bytes of a file whose blocks belong to another one as well.
std::uint64_t sharedBytes(const std::string& path) {
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  constexpr std::size_t kExtents = 1000;
  std::vector<std::uint64_t> memory((sizeof(fiemap) + kExtents * sizeof(fiemap_extent)) / 8);
  auto* map = reinterpret_cast<fiemap*>(memory.data());
  map->fm_length = FIEMAP_MAX_OFFSET;
  map->fm_flags = FIEMAP_FLAG_SYNC;
  map->fm_extent_count = kExtents;
  if (ioctl(file.get(), FS_IOC_FIEMAP, map) != 0) return 0;
  std::uint64_t bytes = 0;
  for (std::uint32_t i = 0; i < map->fm_mapped_extents; ++i) {
    if (map->fm_extents[i].fe_flags & FIEMAP_EXTENT_SHARED) bytes += map->fm_extents[i].fe_length;
  }
  return bytes;
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
  ASSERT_EQ(fsync(source.get()), 0);
  const Outcome outcome = trim({movie, "--from", "10.5", "--to", "50.5", "-o", copy});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  const std::uint64_t size = std::filesystem::file_size(copy);
  EXPECT_GT(size, std::filesystem::file_size(movie) / 2);
  EXPECT_GT(sharedBytes(copy), size * 9 / 10);
  EXPECT_LE(sharedBytes(copy), size + 4096);
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
  EXPECT_NE(outcome.errors.find(" bytes)"), std::string::npos) << outcome.errors;
  EXPECT_TRUE(std::filesystem::is_empty(scratch.path()));
  // Room for the part and what is to be left free, not for all of the recording beside that.
  EXPECT_EQ(mount("none", scratch.path().c_str(), nullptr, MS_REMOUNT, "size=102m"), 0);
  EXPECT_EQ(trim({"a.mp4", "--to", "15", "-o", scratch / "b.mp4"}).status, 0);
  umount2(scratch.path().c_str(), MNT_DETACH);
}
