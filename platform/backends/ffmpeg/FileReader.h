#pragma once

#include "platform/backends/posix/GrowingFile.h"

#include <cstdint>
#include <functional>

struct AVIOContext;

/// Lets libavformat read a file that is open already, and perhaps still being written. One thread at a time.
class FileReader {
 public:
  /// `file` must outlive this object. Once `isCancelled` says so, reading ends with AVERROR_EXIT.
  FileReader(GrowingFile& file, std::function<bool()> isCancelled);
  FileReader(const FileReader&) = delete;
  ~FileReader();

  /// Null when memory is short.
  AVIOContext* context() const { return context_; }

 private:
  static int read(void* self, std::uint8_t* to, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);

  GrowingFile& file_;
  const std::function<bool()> isCancelled_;
  AVIOContext* context_ = nullptr;
  std::int64_t position_ = 0;
};
