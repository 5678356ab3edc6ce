#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/ffmpeg/ExportExpectations.h"

#include <cstdint>
#include <functional>

/// Brings the media into a file whose index `writer` has written, and checks the file meanwhile:
/// what the check reads is written first. As soon as the check fails the copying ends too.
struct CheckedCopy {
  isobmff::MovieWriter& writer;
  const ExportExpectations& expectations;
  int source, output;                   ///< the writer's descriptors
  std::function<void(float)> progress;  ///< of the copying, rising, from 0 to 1, on a thread of its own; may be null
  std::function<bool()> isCancelled;    ///< any thread
  /// On the same thread: what is in the file now. May be null.
  std::function<void(std::uint64_t offset, std::uint64_t length)> written;

  /// Null when the file is whole and as expected; after a cancellation any error. Throws what is thrown when memory or
  /// threads run out.
  NSErrorPtr run();
};
