#pragma once

#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSError.h"

#include <functional>
#include <string>
#include <vector>

namespace isobmff {
struct CutPlan;
struct Movie;
}  // namespace isobmff

/// Writes a range of a movie into a new file, without coding anything anew, and checks the result.
///
/// MP4 and QuickTime files are cut as they are; the part needed of any other is packed into a hidden MP4 file first,
/// which is then cut the same way.
struct MovieExport {
  std::string sourcePath;
  std::string sourceName;               ///< for messages
  std::string outputFolder;             ///< for files that this needs on the way; on the output's file system
  int output = -1;                      ///< descriptor of an empty file open for reading and writing
  CMTimeRange range;                    ///< in the times that the player shows
  std::function<bool()> isCancelled;    ///< any thread
  std::function<void(float)> progress;  ///< rising, from 0 to 1; any thread

  /// Runs to the end on the calling thread. Null when the file is whole, checked and, but for what fsync still has to
  /// do, on disk; after a cancellation any error.
  NSErrorPtr run();

  /// Afterwards: what was really taken, in the source's times.
  CMTime start = kCMTimeInvalid, end = kCMTimeInvalid;
  /// The tracks that could not come along, in words.
  std::vector<std::string> leftOut;

 private:
  NSErrorPtr convertAndCut();
  NSErrorPtr cut(int source, CMTimeRange fromTo, float from);
  NSErrorPtr flush();
};
