#include "platform/backends/posix/HiddenFile.h"

#include <cerrno>
#include <cstdio>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

std::string randomHiddenName() {
  std::random_device random;
  char name[40];
  std::snprintf(name, sizeof name, ".zevanti-%08x%08x.part", random(), random());
  return name;
}

}  // namespace

std::optional<HiddenFile> HiddenFile::create(const std::string& folder, mode_t mode) {
  mode = (mode & 0666) | S_IRUSR;
  HiddenFile file;
  file.folder_.reset(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!file.folder_) return std::nullopt;
  file.file_.reset(openat(file.folder_.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
  // Without /proc a file without a name can't be given one.
  if (file.file_ && access(file.descriptorPath().c_str(), F_OK) != 0) {
    file.file_.reset();
    errno = ENOENT;
  }
  for (int attempt = 0; !file.file_ && attempt < 8; ++attempt) {
    if (attempt == 0 && (errno == EACCES || errno == EROFS || errno == ENOSPC || errno == EDQUOT)) return std::nullopt;
    const std::string name = randomHiddenName();
    file.file_.reset(openat(file.folder_.get(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (file.file_)
      file.hiddenName_ = name;
    else if (errno != EEXIST)
      break;
  }
  if (!file.file_) return std::nullopt;
  return file;
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
  // A file system without that call: an empty file of our own takes the name first, and is what gets replaced.
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
