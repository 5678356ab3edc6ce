#pragma once

#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSError.h"

#include <functional>
#include <string>

/// Copies a range of a movie into an MP4 file without coding anything anew.
///
/// What is decoded for the range but not shown, from the key frame before it, goes along hidden by the edit lists, so
/// that the movie begins exactly at the range's start with sound and picture in step. Packets that start at or after
/// the range's end stay out. Turn, languages, names, dates and metadata are kept. Files whose pictures or sound an MP4
/// file can't hold fail.
struct PassthroughExport {
  std::string sourcePath;
  std::string sourceName;  ///< for messages
  int output = -1;         ///< descriptor of an empty file open for reading and writing
  CMTimeRange range;       ///< in the times that the player shows
  std::function<bool()> isCancelled;
  std::function<void(float)> progress;

  /// Runs to the end on the calling thread. Null when done; after a cancellation any error.
  NSErrorPtr run() const;
};
