#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <cstdint>
#include <optional>
#include <string>

/// What a trimmed copy of a movie is: other containers than these two become MP4, or QuickTime where MP4 can't hold
/// what is in them, such as sound that is not coded.
enum class MovieKind { MP4, QuickTime };

/// A movie that a person has named: opened once, only ever read.
class SourceFile {
 public:
  /// Opens a regular file that is not empty, without waiting for the writer of a pipe. Without a descriptor and with
  /// `error`, which names the file as it was given, when that fails.
  static SourceFile open(const std::string& path, NSErrorPtr* error);

  explicit operator bool() const { return bool(file_); }
  int descriptor() const { return file_.get(); }
  std::uint64_t size() const { return size_; }
  /// Whether the file is an MP4 or QuickTime movie, by its beginning.
  bool isBoxed() const;
  /// By the file's own words; a file of boxes that does not say is QuickTime. Other containers are opened and looked
  /// at.
  MovieKind kind() const;

 private:
  MovieKind readKind() const;

  FileDescriptor file_;
  mutable std::optional<MovieKind> kind_;
  std::uint64_t size_ = 0;
};
