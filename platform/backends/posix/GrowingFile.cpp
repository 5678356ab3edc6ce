#include "platform/backends/posix/GrowingFile.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include <sys/stat.h>
#include <unistd.h>

GrowingFile::GrowingFile(int descriptor) : descriptor_(descriptor), ended_(true) {
  struct stat status {};
  if (fstat(descriptor, &status) == 0 && status.st_size > 0) size_ = std::uint64_t(status.st_size);
  if (size_ > 0) parts_[0] = size_;
}

void GrowingFile::add(std::uint64_t offset, std::uint64_t length) {
  if (length == 0) return;
  const std::lock_guard lock(mutex_);
  std::uint64_t begin = offset, end = offset + length;
  auto next = parts_.upper_bound(begin);
  if (next != parts_.begin() && std::prev(next)->second >= begin) --next;
  while (next != parts_.end() && next->first <= end) {
    begin = std::min(begin, next->first);
    end = std::max(end, next->second);
    next = parts_.erase(next);
  }
  parts_[begin] = end;
  changed_.notify_all();
}

void GrowingFile::end(bool whole) {
  const std::lock_guard lock(mutex_);
  if (whole && size_ > 0) parts_ = {{0, size_}};
  ended_ = true;
  changed_.notify_all();
}

std::uint64_t GrowingFile::available(std::uint64_t offset) const {
  const auto next = parts_.upper_bound(offset);
  if (next == parts_.begin()) return 0;
  const std::uint64_t end = std::prev(next)->second;
  return end > offset ? end - offset : 0;
}

std::int64_t GrowingFile::read(std::uint64_t offset, std::uint8_t* to, std::size_t size) {
  if (offset >= size_) return 0;
  {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return ended_ || available(offset) > 0; });
    size = std::size_t(std::min<std::uint64_t>(size, available(offset)));
    if (size == 0) return -EIO;
  }
  while (true) {
    const ssize_t count = pread(descriptor_, to, size, off_t(offset));
    if (count >= 0) return count;
    if (errno != EINTR) return -errno;
  }
}

bool GrowingFile::readAll(std::uint64_t offset, std::uint8_t* to, std::size_t size) {
  while (size > 0) {
    const std::int64_t count = read(offset, to, size);
    if (count <= 0) return false;
    to += count;
    offset += std::uint64_t(count);
    size -= std::size_t(count);
  }
  return true;
}
