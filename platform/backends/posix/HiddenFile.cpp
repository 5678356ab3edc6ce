#include "platform/backends/posix/HiddenFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace {

/// Seconds in which nobody has written to a file that is taken for abandoned: where locks are of one machine only,
/// another may be at it.
constexpr time_t kIdle = 60;

std::string randomHiddenName() {
  std::random_device random;
  char name[40];
  std::snprintf(name, sizeof name, ".zevanti-%08x%08x.part", random(), random());
  return name;
}

bool isHiddenName(const char* name) {
  unsigned first = 0, second = 0;
  int length = 0;
  return std::sscanf(name, ".zevanti-%8x%8x.part%n", &first, &second, &length) == 2 && length == 30 &&
         name[length] == '\0';
}

/// Whether nobody writes a file any more. Where the file system has no locks that isn't known.
bool isAbandoned(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
         status.st_mtim.tv_sec < std::time(nullptr) - kIdle && flock(file, LOCK_EX | LOCK_NB) == 0;
}

}  // namespace

std::optional<HiddenFile> HiddenFile::create(const std::string& folder, mode_t mode) {
  return create(FileDescriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)), mode);
}

std::optional<HiddenFile> HiddenFile::create(FileDescriptor folder, mode_t mode) {
  if (!folder) return std::nullopt;
  mode = (mode & 0666) | S_IRUSR;
  HiddenFile file;
  file.folder_ = std::move(folder);
  file.file_.reset(openat(file.folder_.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
  // Without /proc a file without a name can't be given one.
  if (file.file_ && access(file.descriptorPath().c_str(), F_OK) != 0) {
    file.file_.reset();
    errno = ENOENT;
  }
  if (file.file_) {
    flock(file.file_.get(), LOCK_EX | LOCK_NB);
  } else {
    if (errno == EACCES || errno == EROFS || errno == ENOSPC || errno == EDQUOT) return std::nullopt;
    file.removeAbandoned();
    if (!file.createNamed(mode)) return std::nullopt;
  }
  return file;
}

bool HiddenFile::createNamed(mode_t mode) {
  for (int attempt = 0; attempt < 8; ++attempt) {
    hiddenName_ = randomHiddenName();
    file_.reset(openat(folder_.get(), hiddenName_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file_ && errno != EEXIST) break;
    if (!file_) continue;
    flock(file_.get(), LOCK_EX | LOCK_NB);
    if (hasName(file_, folder_.get(), hiddenName_.c_str())) return true;
  }
  hiddenName_.clear();
  file_.reset();
  return false;
}

void HiddenFile::removeAbandoned() const {
  const int listed = openat(folder_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* const folder = listed >= 0 ? fdopendir(listed) : nullptr;
  if (!folder) {
    if (listed >= 0) close(listed);
    return;
  }
  while (const dirent* entry = readdir(folder)) {
    if (!isHiddenName(entry->d_name)) continue;
    const FileDescriptor file(openat(folder_.get(), entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file && isAbandoned(file.get()) && hasName(file, folder_.get(), entry->d_name))
      unlinkat(folder_.get(), entry->d_name, 0);
  }
  closedir(folder);
}

HiddenFile::HiddenFile(HiddenFile&& other) noexcept
    : folder_(std::move(other.folder_)),
      file_(std::move(other.file_)),
      hiddenName_(std::exchange(other.hiddenName_, {})) {}

HiddenFile::~HiddenFile() {
  if (!hiddenName_.empty()) unlinkat(folder_.get(), hiddenName_.c_str(), 0);
}

std::string HiddenFile::descriptorPath() const {
  return "/proc/self/fd/" + std::to_string(file_.get());
}

int HiddenFile::syncFolder() const {
  // Some file systems can't sync a folder; the name is there all the same.
  return fsync(folder_.get()) == 0 || errno == EINVAL ? 0 : errno;
}

/// Gives the file another name, which must be free.
int HiddenFile::link(const std::string& name) {
  if (hiddenName_.empty()) {
    return linkat(AT_FDCWD, descriptorPath().c_str(), folder_.get(), name.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
  }
  if (renameat2(folder_.get(), hiddenName_.c_str(), folder_.get(), name.c_str(), RENAME_NOREPLACE) == 0) {
    hiddenName_.clear();
    return 0;
  }
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system without that call: a second name, or, where a file has one only, an empty file of our own takes the
  // name first, and is what gets replaced.
  if (linkat(folder_.get(), hiddenName_.c_str(), folder_.get(), name.c_str(), 0) == 0) {
    unlinkat(folder_.get(), hiddenName_.c_str(), 0);
    hiddenName_.clear();
    return 0;
  }
  if (errno == EEXIST) return errno;
  const FileDescriptor place(openat(folder_.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!place) return errno;
  if (renameat(folder_.get(), hiddenName_.c_str(), folder_.get(), name.c_str()) != 0) {
    const int failure = errno;
    unlinkat(folder_.get(), name.c_str(), 0);
    return failure;
  }
  hiddenName_.clear();
  return 0;
}

int HiddenFile::publish(const std::string& name) {
  if (fsync(file_.get()) != 0) return errno;
  int failure = link(name);
  if (failure != 0) return failure;
  failure = syncFolder();
  // Whoever is told of a failure may count on there being nothing.
  if (failure != 0) unlinkat(folder_.get(), name.c_str(), 0);
  return failure;
}

int HiddenFile::publishReplacing(const std::string& name) {
  if (fsync(file_.get()) != 0) return errno;
  if (hiddenName_.empty()) {
    removeAbandoned();
    const std::string hidden = randomHiddenName();
    if (const int failure = link(hidden); failure != 0) return failure;
    hiddenName_ = hidden;
  }
  if (renameat(folder_.get(), hiddenName_.c_str(), folder_.get(), name.c_str()) != 0) return errno;
  hiddenName_.clear();
  // The old file is gone and the new one is whole and there: told as a failure, it would be believed lost.
  syncFolder();
  return 0;
}
