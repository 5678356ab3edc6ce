#pragma once

#include "platform/backends/posix/FileDescriptor.h"

#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace publishing {

/// The right to upload a recording and to have its kept session: one at a time, whatever process it is in. It is a lock
/// on a file in `FOLDER/uploading`, which ends with this object or, however that ends, with the process. Any thread.
class UploadClaim {
 public:
  /// Takes it; nothing when another has it. `file` is UploadFile::identify(). Where nothing can be locked everybody
  /// gets it.
  static std::unique_ptr<UploadClaim> take(const std::string& stateFolder, const std::string& file);
  /// Whether another has it.
  static bool isTaken(const std::string& stateFolder, const std::string& file);
  /// Removes what processes have left that were killed: files that are older than `age` and nobody holds.
  static void sweep(const std::string& stateFolder, std::chrono::seconds age = std::chrono::minutes(1));

  UploadClaim(const UploadClaim&) = delete;
  UploadClaim& operator=(const UploadClaim&) = delete;
  ~UploadClaim();

 private:
  UploadClaim(std::string path, FileDescriptor lock) : path_(std::move(path)), lock_(std::move(lock)) {}

  std::string path_;
  FileDescriptor lock_;
};

}  // namespace publishing
