// The copy of the person's movie that the editor works with, where it can't be a link.

#include "SmallDisk.h"
#include "host/MovieFile.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <fstream>

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t kReserve = 100'000'000;  // bytes that are to be left free
constexpr std::uint64_t kSize = 32 << 20;

}  // namespace

TEST(HandOver, IsWholeOrNotAtAllAndLeavesRoom) {
  const ScratchFolder scratch;
  const std::string path = scratch / "movie.mp4";
  std::ofstream(path) << "a movie";
  SmallDisk disk(scratch / "cache", kReserve + 2 * kSize);
  if (!disk.isMounted()) GTEST_SKIP() << "small disks need root";
  const fs::path folder = fs::path(scratch / "cache") / "run";
  fs::create_directory(folder);
  std::string problem;
  const auto movie = MovieFile::open(path, problem);
  ASSERT_TRUE(movie) << problem;
  int pieces = 0;
  const auto handOver = [&](const CopyProgress& progress) {
    fs::resize_file(path, kSize);
    pieces = 0;
    NSErrorPtr error;
    const std::string copy = movie->handOver(folder.string(), progress, &error);
    EXPECT_EQ(copy.empty(), error != nullptr);
    EXPECT_EQ(fs::is_empty(folder), copy.empty());
    return error ? error->localizedDescription() : "";
  };
  const auto count = [&](std::int64_t, std::int64_t) { return ++pieces > 0; };
  const std::uint64_t free = disk.freeBytes();

  const std::string cutOff = handOver([&](auto done, auto total) {
    if (pieces == 0) fs::resize_file(path, 1000);
    return count(done, total);
  });
  EXPECT_EQ(cutOff, "“movie.mp4” was cut off by another program while it was copied; open it again");
  EXPECT_GT(pieces, 0);
  EXPECT_EQ(disk.freeBytes(), free);

  ASSERT_TRUE(disk.resize(kReserve + kSize / 2));
  const std::string full = handOver(count);
  EXPECT_NE(full.find("“" + (scratch / "cache") + "”: 1"), std::string::npos) << full;
  EXPECT_NE(full.find(" MB more are needed. Make room on its disk, then open it again"), std::string::npos) << full;
  EXPECT_EQ(pieces, 0) << "begun";

  ASSERT_TRUE(disk.resize(kReserve + 2 * kSize));
  using fs::perms;
  constexpr perms mode = perms::owner_read | perms::owner_write | perms::group_read;
  fs::permissions(path, mode);
  const mode_t before = umask(022);
  EXPECT_EQ(handOver(count), "");
  umask(before);
  EXPECT_EQ(fs::status(folder / "movie.mp4").permissions(), mode) << "what is saved of it has the recording's";
  EXPECT_EQ(fs::file_size(folder / "movie.mp4"), kSize);
}
