#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace publishing {

/// The movie that is uploaded. It is read piece by piece, and watched: a file that somebody writes to or shortens while
/// it is uploaded is not read any further. Any thread.
class UploadFile {
 public:
  /// Null and an error when it can't be opened, or when it is empty.
  static std::shared_ptr<UploadFile> open(const std::string& path, NSErrorPtr* error);

  std::int64_t size() const { return size_; }
  /// The same for the same content, in whatever file: each use of the program makes its movie anew. A hash of all of
  /// it, usable as a file name. Takes some seconds for each gigabyte, so never on the main queue. Empty when the file
  /// can't be read or has changed, or once `isWanted`, which is asked now and then, has said no.
  std::string identify(const std::function<bool()>& isWanted);
  /// The type of its content, by its name.
  const std::string& type() const { return type_; }

  /// Reads up to `size` bytes at `at`; fewer only at the end. -1 when it can't be read or has changed.
  std::int64_t read(std::int64_t at, char* data, std::int64_t size);
  /// Null while the file is as it was; else what is wrong with it.
  NSErrorPtr check();

 private:
  UploadFile() = default;
  bool isUnchanged() const;

  std::string path_, type_;
  FileDescriptor file_;
  std::int64_t size_ = 0, changedSeconds_ = 0, changedNanoseconds_ = 0;
  std::atomic<bool> unreadable_{false};
};

}  // namespace publishing
