#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <memory>
#include <string>

/// The private directory of the movies that are being worked on, with one folder in it for this run.
///
/// Every run holds a shared lock on the directory, host and extension together. Whoever gets it alone knows that nobody
/// else works there, and sweeps what a crash left behind: all whose names say that it is ours.
class TemporaryDirectory {
 public:
  /// Makes the directory where needed, checks that it is really this user's own, locks and sweeps it, and makes the
  /// folder of this run. On failure: null, and `error` is set.
  static std::unique_ptr<TemporaryDirectory> open(NSErrorPtr* error);
  /// Whether something at this path would be swept: a file or a folder, which need not exist, in the directory. Links
  /// on the way to it are followed.
  static bool contains(const std::string& path);
  /// Removes the folder of this run with what is in it, and sweeps the directory if nobody else works there. The
  /// extension must have ended.
  ~TemporaryDirectory();

  /// Absolute, without a trailing separator.
  const std::string& runFolder() const { return runFolder_; }
  int lock() const { return directory_.get(); }

 private:
  TemporaryDirectory(FileDescriptor directory) : directory_(std::move(directory)) {}
  void sweep() const;

  FileDescriptor directory_;
  std::string runFolder_;
};
