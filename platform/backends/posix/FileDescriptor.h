#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

/// Owns one open descriptor.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~FileDescriptor() { reset(); }

  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }
  int release() { return std::exchange(descriptor_, -1); }
  void reset(int descriptor = -1) {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = descriptor;
  }

 private:
  int descriptor_ = -1;
};

/// Whether an open file still has the name `name` in `folder` (AT_FDCWD: a path): who removes or replaces it takes that
/// away. A link of that name is not followed.
inline bool hasName(const FileDescriptor& file, int folder, const char* name) {
  struct stat opened {
  }, named{};
  return fstat(file.get(), &opened) == 0 && fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}
