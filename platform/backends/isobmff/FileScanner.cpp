#include "platform/backends/isobmff/FileScanner.h"

#include "platform/backends/isobmff/ByteReader.h"

#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>

namespace isobmff {

FileScanner::FileScanner(int descriptor) : descriptor_(descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) throw ReadFailure{"can't be read", errno};
  if (S_ISBLK(status.st_mode) || S_ISCHR(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode))
    throw ReadFailure{"is not a file.", 0};
  fileSize_ = std::uint64_t(std::max<off_t>(status.st_size, 0));
}

std::size_t FileScanner::readSome(std::uint64_t position, std::uint8_t* bytes, std::size_t count) const {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got = pread(descriptor_, bytes + done, count - done, off_t(position + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw ReadFailure{"can't be read", errno};
    if (got == 0) break;
    done += std::size_t(got);
  }
  return done;
}

bool FileScanner::boxAt(std::uint64_t position, FileBox& box) {
  if (position >= fileSize_ || fileSize_ - position < 8) return false;
  const std::uint64_t wanted = std::min<std::uint64_t>(16, fileSize_ - position);
  if (position < windowStart_ || position + wanted > windowStart_ + windowSize_) {
    windowStart_ = position;
    windowSize_ = readSome(position, window_.data(), std::min<std::uint64_t>(window_.size(), fileSize_ - position));
  }
  const std::uint8_t* const header = window_.data() + (position - windowStart_);
  const std::size_t got = windowSize_ - std::size_t(position - windowStart_);
  if (got < 8) return false;
  std::uint64_t size = loadU32(header), headerSize = 8;
  if (size == 1) {
    headerSize = 16;
    if (got < headerSize) return false;
    size = loadU64(header + 8);
  } else if (size == 0) {
    size = fileSize_ - position;
  }
  if (size < headerSize) return false;
  box.type = loadU32(header + 4);
  box.start = position;
  box.payload = position + headerSize;
  box.cutOff = size > fileSize_ - position;
  box.end = box.cutOff ? fileSize_ : position + size;
  return true;
}

Bytes FileScanner::read(std::uint64_t position, std::uint64_t count) const {
  if (position > fileSize_ || count > fileSize_ - position) failDamaged("it reaches behind the end of the file");
  Bytes bytes(static_cast<std::size_t>(count));
  if (readSome(position, bytes.data(), bytes.size()) < bytes.size()) throw ReadFailure{"has become shorter.", 0};
  return bytes;
}

}  // namespace isobmff
