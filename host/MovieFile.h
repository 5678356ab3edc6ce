#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/posix/FileCopy.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <optional>
#include <string>

/// The person's own movie: opened once, only ever read.
class MovieFile {
 public:
  /// Opens a regular file that is not empty. On failure: nothing, and `problem` says why.
  static std::optional<MovieFile> open(const std::string& path, std::string& problem);

  /// Gives the movie a second existence, under its own name in `folder`, that can be deleted without touching the
  /// original: a hard link, else shared blocks, else a copy, with the original's times and rights. `progress` is called
  /// during a copy. On failure: empty, and `error` is set.
  std::string handOver(const std::string& folder, const CopyProgress& progress, NSErrorPtr* error) const;

 private:
  MovieFile(std::string name, FileDescriptor file) : name_(std::move(name)), file_(std::move(file)) {}

  std::string name_;
  FileDescriptor file_;
};
