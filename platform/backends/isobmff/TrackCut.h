#pragma once

#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/DecodingStart.h"
#include "platform/backends/isobmff/PlayerTimeline.h"
#include "platform/backends/isobmff/SoundFormat.h"

#include <vector>

namespace isobmff {

/// A part of a track's media that belongs into the cut.
struct MediaRange {
  double showAt = 0;           ///< seconds from the cut's start
  double from = 0, to = 0;     ///< media time, in seconds
  double held = 0;             ///< seconds from `to` on in which the last picture stays on screen
  std::int64_t firstTick = 0;  ///< samples that are presented earlier are not shown, even if they last until `from`
  std::int64_t endTick = 0;    ///< nor those that are presented then or later
};

/// An entry of the new edit list.
struct TrackEdit {
  double showAt = 0;           ///< seconds from the cut's start
  std::int64_t mediaTime = 0;  ///< in the track's new ticks
  std::int64_t duration = 0;   ///< the same
};

/// One track of the new file, before the movie's time scale is known.
struct TrackCut {
  TrackPlan plan;  ///< without edits and duration
  std::vector<TrackEdit> edits;
};

enum class CutOutcome {
  Done,
  Empty,     ///< nothing is shown in the ranges
  Overflow,  ///< the times do not fit into a file
};

/// What of a track is shown in the cut, in the order of showing. `start` and `end` are on the movie's timeline. The
/// last picture of a stretch of a visual track stays on screen until the next stretch begins; where a cut begins behind
/// the track's end it is all that there is.
std::vector<MediaRange> mediaRanges(const PlayerTimeline& timeline, bool visual, double start, double end);

// All of these throw CutRefused.

/// For pictures, and for everything else that has samples from which decoding can't start. `gap`: between those that
/// are only decoded and the first one shown. Only where there is a single range its last picture is held: behind it in
/// the media stands what other ranges show.
CutOutcome cutPictures(const Track& track, const std::vector<MediaRange>& ranges, const DecodingStart& decoding,
                       bool gap, CutBudget& budget, TrackCut& cut);
/// For sound: exact to the sample, with the packets before that the decoder needs.
CutOutcome cutSound(const Track& track, const std::vector<MediaRange>& ranges, const SoundFormat& format,
                    CutBudget& budget, TrackCut& cut);
/// For text and the like, where each sample stands alone. `verbatim`: the samples' times matter and stay (timecode).
CutOutcome cutStandAlone(const Track& track, const std::vector<MediaRange>& ranges, bool verbatim, CutBudget& budget,
                         TrackCut& cut);

}  // namespace isobmff
