#pragma once

#include "platform/Foundation/NSError.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Converts a whole movie to H.264 and AAC in MP4, all its sound mixed into one track. What is so already is taken as
/// it is: the movie as a whole, or its pictures, or its sound.
struct Transcoder {
  std::string sourcePath;
  std::string sourceName;                 ///< for messages
  std::string outputFolder;               ///< for files that this needs on the way; on the output's file system
  int output = -1;                        ///< descriptor of an empty file open for reading and writing
  std::vector<std::int32_t> soundTracks;  ///< which to mix, by an asset's `trackID`; none for all
  std::function<bool()> isCancelled;      ///< any thread
  std::function<void(float)> progress;    ///< rising, from 0 to 1; the calling thread, or one of the run's own

  /// Runs to the end on the calling thread. Null when the file is whole, checked and, but for what fsync still has to
  /// do, on disk; after a cancellation any error.
  NSErrorPtr run();

  /// Afterwards: what was coded anew.
  bool codedPictures = false, codedSound = false;
  double duration = 0;  ///< of the new movie, in seconds
};
