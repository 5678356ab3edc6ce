#pragma once

#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSError.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

class MovieInput;

/// Packs the part of a movie that a range needs from any container into MP4 (or its elder relative QuickTime, where
/// only that one can hold what the source has), packet by packet, without coding pictures or sound anew: everything
/// from a key frame at least a second before the range to behind its end. All tracks of pictures, sound and text;
/// titles of text are rewritten as MP4 has them, and chapters come along. Not so pictures of titles and other data, for
/// which MP4 has no place (see `leftOut`). Refused where the container does not tell when pictures are shown.
///
/// Sound whose times the source only states in coarse ticks (Matroska's milliseconds) is laid out by its lengths, as it
/// is heard.
struct ContainerConversion {
  std::string sourcePath;
  std::string sourceName;  ///< for messages
  int output = -1;         ///< descriptor of an empty file open for reading and writing
  CMTimeRange range;       ///< in the times that the player shows
  std::function<bool()> isCancelled;
  std::function<void(float)> progress;

  /// Runs to the end on the calling thread. Null when done; after a cancellation any error.
  NSErrorPtr run();

  /// Afterwards: the source's player's time of what a player of the new file shows at 0, in seconds: not after the
  /// range's start.
  double start = 0;
  /// The tracks that stay behind, each as a person reads it: “track 3 (subtitles, dvd_subtitle, deu)”.
  std::vector<std::string> leftOut;
};

/// Whether the packed movie would be QuickTime. Not so where neither can hold what the source has.
bool isPackedAsQuickTime(const MovieInput& source);
