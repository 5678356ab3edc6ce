#include "platform/backends/posix/FileCopy.h"

#include "platform/backends/posix/FileDescriptor.h"
#include "platform/backends/posix/PlainFileSystem.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

namespace {

/// For pairs of files that the kernel can't copy between, or not as fast.
int copyThroughMemory(int from, int to, std::int64_t done, std::int64_t total, const CopyProgress& progress) {
  std::vector<char> buffer(128 << 10);  // larger ones make the file system look for memory in one piece
  while (true) {
    ssize_t count = pread(from, buffer.data(), buffer.size(), done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return done < total ? kSourceEndedEarly : 0;
    for (ssize_t written = 0; written < count;) {
      ssize_t piece = pwrite(to, buffer.data() + written, static_cast<std::size_t>(count - written), done + written);
      if (piece < 0 && errno == EINTR) continue;
      if (piece < 0) return errno;
      written += piece;
    }
    done += count;
    if (progress && !progress(done, total)) return ECANCELED;
  }
}

/// At least.
bool hasLength(int file, std::int64_t wanted) {
  struct stat status;
  return fstat(file, &status) == 0 && status.st_size >= wanted;
}

}  // namespace

int cloneOrCopy(int from, int to, const CopyProgress& progress) {
  struct stat status;
  if (fstat(from, &status) != 0) return errno;
  if (ioctl(to, FICLONE, from) == 0) return hasLength(to, status.st_size) ? 0 : kSourceEndedEarly;
  if (isFasterThroughMemory(to, std::uint64_t(status.st_size)))
    return copyThroughMemory(from, to, 0, status.st_size, progress);
  constexpr std::size_t kPiece = 16 << 20;
  off_t in = 0, out = 0;
  while (true) {
    ssize_t count = copy_file_range(from, &in, to, &out, kPiece, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EIO)) return errno;
    // Zero before the end is what some kernel file systems answer instead of an error.
    if (count < 0 || (count == 0 && out < status.st_size))
      return copyThroughMemory(from, to, out, status.st_size, progress);
    if (count == 0) return 0;
    if (progress && !progress(out, status.st_size)) return ECANCELED;
  }
}

int copyFile(const std::string& from, const std::string& to) {
  FileDescriptor source(open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!source && errno == ELOOP) {
    std::error_code error;
    std::filesystem::copy_symlink(from, to, error);
    return error.value();
  }
  struct stat status;
  if (!source || fstat(source.get(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EXDEV;
  FileDescriptor target(open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!target) return errno;
  int failure = cloneOrCopy(source.get(), target.get());
  std::array<timespec, 2> times{status.st_atim, status.st_mtim};
  if (failure == 0 && fchmod(target.get(), status.st_mode & 07777) != 0) failure = errno;
  if (failure == 0 && futimens(target.get(), times.data()) != 0) failure = errno;
  if (failure == 0 && fsync(target.get()) != 0) failure = errno;
  if (failure != 0) unlink(to.c_str());
  return failure;
}
