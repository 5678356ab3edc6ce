#pragma once

#include "platform/backends/posix/FileDescriptor.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// A file in memory, used again for every input.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("movie", MFD_CLOEXEC)) {}

  int descriptor() const { return descriptor_.get(); }
  std::uint64_t size() const {
    struct stat status {};
    if (fstat(descriptor_.get(), &status) != 0) std::abort();
    return std::uint64_t(status.st_size);
  }
  /// Makes the file longer by a hole.
  void extend(std::uint64_t size) {
    if (ftruncate(descriptor_.get(), off_t(size)) != 0) std::abort();
  }
  void fill(const std::uint8_t* data, std::size_t size) {
    if (ftruncate(descriptor_.get(), 0) != 0 || lseek(descriptor_.get(), 0, SEEK_SET) != 0) std::abort();
    if (size > 0 && write(descriptor_.get(), data, size) != ssize_t(size)) std::abort();
  }

 private:
  FileDescriptor descriptor_;
};
