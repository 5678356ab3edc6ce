#pragma once

#include "platform/CoreMedia/CMTime.h"
#include "platform/Foundation/NSError.h"
#include "platform/backends/isobmff/CutBudget.h"
#include "platform/backends/isobmff/Movie.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace isobmff {

/// What one track of the new file consists of.
struct TrackPlan {
  std::uint32_t timescale = 0;
  /// Times are the new ones, offsets still those in the source; `index` is the source's, for tables by sample.
  std::vector<SampleRun> runs;
  std::vector<EditSegment> edits;  ///< durations in ticks of the plan's movie time scale
  std::int64_t mediaDuration = 0;  ///< in ticks of `timescale`
  std::uint64_t duration = 0;      ///< for tkhd, in ticks of the plan's movie time scale

  // What a check of the finished file compares; absent when the track shows nothing in the range.
  std::optional<std::uint32_t> firstShown;  ///< source index of the first sample that is shown
  std::optional<std::uint32_t> lastShown;   ///< of the last one in presentation order
};

/// Whether a track can't stand in a cut: streaming hints, which speak of the old file's packets. Its plan stays empty.
bool isLeftOut(const Track& track);

/// What a new file with a range of a movie consists of, worked out before the first byte is written.
struct CutPlan {
  std::uint32_t timescale = 0;    ///< of the movie; fine enough for every track's ticks wherever 32 bits allow it
  std::uint64_t duration = 0;     ///< of the movie, in ticks of `timescale`
  std::vector<TrackPlan> tracks;  ///< one for each of the source's, in the same order
  CMTime sourceStart, sourceEnd;  ///< the range really taken, in the player's times (the end limited to the movie's)
  double start = 0, end = 0;      ///< the same in seconds
};

/// When the last picture or sound ends, in the player's times, in seconds.
double playerDuration(const Movie& movie);

/// Plans the copy of `range` in the player's times: those of the movie's timeline.
///
/// The first picture is the one on screen at the range's start, and its time becomes the start's; pictures that begin
/// at the end or later are not shown; sound begins at the exact sample. Pictures that are needed for decoding only are
/// hidden by the edit list and squeezed to a tick each, so that players without edit lists pass them unseen; a gap of
/// one picture's length parts those at the beginning from the first one shown.
///
/// `descriptor` is the source: the first bytes of some pictures are read, to find out from where decoding can start.
/// Null and `error` (AVErrorInvalidTimeRange: nothing lies in the range; AVErrorExportFailed: protected, or the media
/// is in another file, or the cut takes more than `limits` allow; ECANCELED soon after `isCancelled` says so, which is
/// asked on this thread).
std::unique_ptr<CutPlan> planCut(const Movie& movie, int descriptor, CMTimeRange range, const std::string& displayName,
                                 NSErrorPtr* error, const std::function<bool()>& isCancelled = nullptr,
                                 const CutBudget::Limits& limits = {});

}  // namespace isobmff
