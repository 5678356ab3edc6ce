#include "platform/backends/posix/ContentWatch.h"
#include "tests/common/Files.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t kLength = 3'000'000;
constexpr std::int64_t kMiddle = kLength / 2 + 5000;  // between two of the places that are kept

std::string noise(std::size_t length) {
  std::string bytes(length, '\0');
  for (std::size_t i = 0; i < length; ++i) bytes[i] = static_cast<char>((i * 2654435761U) >> 13);
  return bytes;
}

/// A file that is open and watched; the tests change it by name, as another program would.
struct Watched {
  explicit Watched(std::size_t length = kLength)
      : file(open(folder.write("movie.mp4", noise(length)).c_str(), O_RDONLY | O_CLOEXEC)), watch(file.get()) {
    watch.rememberPlaces();
  }
  bool hasChanged() { return watch.hasChanged(); }

  const ScratchFolder folder;
  const std::string path = folder / "movie.mp4", other = folder / "other";
  const FileDescriptor file;
  ContentWatch watch;
};

void changeByte(const std::string& path, std::int64_t offset = kMiddle) {
  const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  ASSERT_EQ(pwrite(file.get(), "x", 1, offset), 1);
}

/// Where mapped memory is all that there is of a file, no time moves with it.
bool isOnMemoryFileSystem(const std::string& path) {
  struct statfs system {};
  return statfs(path.c_str(), &system) == 0 && system.f_type == TMPFS_MAGIC;
}

/// Until the kernel's clock for files has moved on from when this one was modified.
void waitForAnotherTime(const std::string& path) {
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  const auto isOver = [&] {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return std::pair(now.tv_sec, now.tv_nsec) > std::pair(status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
  };
  while (!isOver()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void append(const std::string& path) {
  std::ofstream(path, std::ios::app) << "another picture";
}

void setTimes(const std::string& path, timespec modified) {
  const std::array<timespec, 2> times{timespec{0, UTIME_NOW}, modified};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
}

void touch(const std::string& path) {
  setTimes(path, {0, UTIME_NOW});
}

struct Act {
  const char* name;
  std::function<void(const Watched& file)> act;
};

const Act changes[] = {
    {"a byte in the middle", [](const Watched& file) { changeByte(file.path); }},
    {"a byte at the beginning", [](const Watched& file) { changeByte(file.path, 5); }},
    {"a byte in the middle, and the time set back",
     [](const Watched& file) {
       struct stat before {};
       stat(file.path.c_str(), &before);
       changeByte(file.path);
       setTimes(file.path, before.st_mtim);
     }},
    {"a byte in the middle by another name",
     [](const Watched& file) {
       fs::create_hard_link(file.path, file.other);
       fs::remove(file.path);
       changeByte(file.other);
     }},
    {"a byte in the middle of mapped memory",
     [](const Watched& file) {
       if (isOnMemoryFileSystem(file.path)) return changeByte(file.path);
       const FileDescriptor opened(open(file.path.c_str(), O_RDWR | O_CLOEXEC));
       void* memory = mmap(nullptr, kLength, PROT_READ | PROT_WRITE, MAP_SHARED, opened.get(), 0);
       ASSERT_NE(memory, MAP_FAILED);
       waitForAnotherTime(file.path);
       static_cast<char*>(memory)[kMiddle] ^= 1;
       ASSERT_EQ(munmap(memory, kLength), 0);
     }},
    {"shortened", [](const Watched& file) { fs::resize_file(file.path, kLength - 1); }},
    {"shortened, and as long as before",
     [](const Watched& file) {
       fs::resize_file(file.path, kLength - 1);
       fs::resize_file(file.path, kLength);
     }},
    {"a longer recording in its place",
     [](const Watched& file) { std::ofstream(file.path, std::ios::binary) << "ftyp" << noise(kLength); }},
};

const Act noChanges[] = {
    {"nothing", [](const Watched&) {}},
    {"touched", [](const Watched& file) { touch(file.path); }},
    {"the time of a backup",
     [](const Watched& file) {
       setTimes(file.path, {1'600'000'000, 0});
     }},
    {"other rights", [](const Watched& file) { chmod(file.path.c_str(), 0400); }},
    {"another name more", [](const Watched& file) { fs::create_hard_link(file.path, file.other); }},
    {"renamed", [](const Watched& file) { fs::rename(file.path, file.other); }},
    {"deleted", [](const Watched& file) { fs::remove(file.path); }},
    {"its name to another file",
     [](const Watched& file) {
       std::ofstream(file.other) << "other";
       fs::rename(file.other, file.path);
     }},
    {"longer", [](const Watched& file) { append(file.path); }},
    {"opened to be written to", [](const Watched& file) { std::ofstream(file.path, std::ios::app).flush(); }},
    {"read", [](const Watched& file) { EXPECT_EQ(contentOf(file.path).size(), static_cast<std::size_t>(kLength)); }},
};

}  // namespace

TEST(ContentWatch, NoticesWhatIsWrittenAnywhere) {
  for (const bool amongOthers : {false, true}) {  // changes that are none
    for (const auto& [name, act] : changes) {
      SCOPED_TRACE(std::string(name) + (amongOthers ? ", among others" : ""));
      Watched file;
      ASSERT_FALSE(file.hasChanged());
      if (amongOthers) {
        touch(file.path);
        EXPECT_FALSE(file.hasChanged());
        chmod(file.path.c_str(), 0600);
        EXPECT_FALSE(file.hasChanged());
      }
      act(file);
      EXPECT_TRUE(file.hasChanged());
      EXPECT_TRUE(file.hasChanged()) << "asked again";
    }
  }
}

TEST(ContentWatch, IsNotAlarmedByWhatLeavesTheContentAlone) {
  for (const auto& [name, act] : noChanges) {
    Watched file;
    act(file);
    EXPECT_FALSE(file.hasChanged()) << name;
    if (!fs::exists(file.path) || fs::exists(file.other)) continue;
    act(file);
    EXPECT_FALSE(file.hasChanged()) << name << " once more";
  }
}

// Of one file there is one row of the kernel's notes, however many look at it.
TEST(ContentWatch, TellsEachWhatHasHappenedSinceItBegan) {
  Watched first;
  const FileDescriptor opened(open(first.path.c_str(), O_RDONLY | O_CLOEXEC));
  auto second = std::make_unique<ContentWatch>(opened.get());
  changeByte(first.path);
  ContentWatch third(opened.get());
  EXPECT_FALSE(third.hasChanged());
  EXPECT_TRUE(second->hasChanged());
  second = nullptr;
  EXPECT_TRUE(first.hasChanged());
  EXPECT_FALSE(third.hasChanged());
  touch(first.path);
  EXPECT_FALSE(third.hasChanged());
  changeByte(first.path);
  EXPECT_TRUE(third.hasChanged());
}

TEST(ContentWatch, NoticesAnotherRecordingThatIsLonger) {
  for (const std::size_t length : {std::size_t(0), std::size_t(100), std::size_t(5000), std::size_t(kLength)}) {
    Watched file(length);
    append(file.path);
    EXPECT_FALSE(file.hasChanged()) << length;
    append(file.path);
    EXPECT_FALSE(file.hasChanged()) << length;
    if (length == 0) continue;
    std::ofstream(file.path, std::ios::binary) << "ftyp" << noise(length * 2);
    EXPECT_TRUE(file.hasChanged()) << length;
  }
}
