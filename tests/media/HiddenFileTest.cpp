#include "platform/backends/posix/HiddenFile.h"
#include "tests/common/Files.h"
#include "tests/foundation/ScratchFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <set>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::atomic<bool> foldersFail{false};

}  // namespace

/// Stands in front of the system's own: a disk that fails just when a folder is synced can't be had otherwise.
extern "C" int fsync(int descriptor) {
  struct stat status {};
  if (foldersFail && fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
    errno = EIO;
    return -1;
  }
  return int(syscall(SYS_fsync, descriptor));
}

namespace {

class HiddenFiles : public testing::Test {
 protected:
  ~HiddenFiles() override { foldersFail = false; }

  HiddenFile file(const std::string& content, mode_t mode = 0666) const {
    std::optional<HiddenFile> created = HiddenFile::create(scratch_.path(), mode);
    EXPECT_TRUE(created);
    EXPECT_EQ(write(created->descriptor(), content.data(), content.size()), ssize_t(content.size()));
    return std::move(*created);
  }
  std::vector<std::string> names() const { return namesIn(scratch_.path()); }

  ScratchFolder scratch_;
  const std::string clip_ = scratch_ / "clip.mp4";
};

TEST_F(HiddenFiles, LeaveNothingWhereAFailureIsToldAndKeepWhatReplacedSomething) {
  foldersFail = true;
  EXPECT_EQ(file("new").publish("clip.mp4"), EIO);
  EXPECT_TRUE(names().empty());
  scratch_.write("clip.mp4", "old");
  EXPECT_EQ(file("new").publish("clip.mp4"), EEXIST);
  EXPECT_EQ(contentOf(clip_), "old");
  EXPECT_EQ(file("new").publishReplacing("clip.mp4"), 0);
  EXPECT_EQ(contentOf(clip_), "new");
  EXPECT_EQ(names(), std::vector<std::string>{"clip.mp4"});
}

TEST_F(HiddenFiles, AreForThoseWhoMayReadTheOriginal) {
  const mode_t before = umask(027);
  const std::pair<mode_t, mode_t> cases[] = {{0100600, 0600}, {0100666, 0640}, {0100777, 0640}, {0, 0400}};
  for (const auto& [asked, expected] : cases) {
    EXPECT_EQ(file("x", asked).publishReplacing("clip.mp4"), 0);
    EXPECT_EQ(fs::status(clip_).permissions(), fs::perms(expected));
  }
  umask(before);
}

TEST_F(HiddenFiles, RemoveWhatACrashHasLeftAndNothingElse) {
  const auto write = [this](const std::string& name, std::chrono::minutes age) {
    const std::string path = scratch_.write(name, "x");
    fs::last_write_time(path, fs::file_time_type::clock::now() - age);
    return path;
  };
  using std::chrono::minutes;
  write(".zevanti-0123456789abcdef.part", minutes(2));
  std::set<std::string> others{".zevanti-0123456789abcde0.part", ".zevanti-0123456789abcde1.part",
                               ".zevanti-0123456789abcde2.part", ".zevanti-0123456789abcdef.part.mp4",
                               ".zevanti-notes.part"};
  write(".zevanti-0123456789abcdef.part.mp4", minutes(2));
  write(".zevanti-notes.part", minutes(2));
  write(".zevanti-0123456789abcde0.part", minutes(0));
  const FileDescriptor used(open(write(".zevanti-0123456789abcde1.part", minutes(2)).c_str(), O_RDWR));
  ASSERT_EQ(flock(used.get(), LOCK_EX), 0);
  fs::create_symlink(scratch_.path(), scratch_ / ".zevanti-0123456789abcde2.part");

  EXPECT_EQ(file("new").publishReplacing("clip.mp4"), 0);
  others.insert("clip.mp4");
  EXPECT_EQ(names(), std::vector<std::string>(others.begin(), others.end()));
}

TEST_F(HiddenFiles, DoWithoutTheListOfOpenFiles) {
  const pid_t child = fork();
  if (child == 0) {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/proc", "tmpfs", 0, nullptr) != 0) {
      _exit(77);
    }
    const bool well = access("/proc/self", F_OK) != 0 && file("new").publish("clip.mp4") == 0 &&
                      file("newer").publish("clip.mp4") == EEXIST && contentOf(clip_) == "new" &&
                      file("newer").publishReplacing("clip.mp4") == 0;
    _exit(well ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "no right to hide /proc";
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(contentOf(clip_), "newer");
  EXPECT_EQ(names(), std::vector<std::string>{"clip.mp4"});
}

}  // namespace
