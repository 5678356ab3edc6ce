#include "platform/backends/posix/FileFlush.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr off_t kPiece = 32 << 20;

}  // namespace

int flushFile(int descriptor, const std::function<bool(std::int64_t done, std::int64_t total)>& proceed) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return errno;
  for (off_t at = 0; at < status.st_size; at += kPiece) {
    if (!proceed(at, status.st_size)) return ECANCELED;
    // Not every file system can; then fsync does it all.
    constexpr unsigned kWhole = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
    if (sync_file_range(descriptor, at, kPiece, kWhole) != 0) return errno == EIO || errno == ENOSPC ? errno : 0;
  }
  return 0;
}
