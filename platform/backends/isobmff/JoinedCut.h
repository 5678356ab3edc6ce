#pragma once

#include "platform/backends/isobmff/TrackCut.h"

#include <functional>

namespace isobmff {

/// Multiplies a cut's time scale, and with it all its times. False, with nothing changed, when they don't fit.
bool multiplyTimes(TrackCut& cut, std::int64_t factor);

enum class JoinedMedia { Pictures, Sound };
enum class JoinedPart { First, Later };

/// Cuts a track of which several ranges are shown by cutting each by itself and putting the parts behind each other, so
/// that what lies between them does not stay in the media: players that pass over the edit list would play it. What
/// several ranges need, to show it or to decode it, stands in the new track's tables once for each of them. More than
/// 64 ranges are cut as one.
///
/// libavformat counts the pictures' times from that one on which is decoded first of those that an edit shows (see
/// PlayerTimeline). So in each part that one is decoded the same time before the first one shown.
///
/// `cutRanges` is told which part of the new track it makes.
using RangesCutter = std::function<CutOutcome(const std::vector<MediaRange>&, JoinedPart part, TrackCut&)>;
CutOutcome cutJoined(const std::vector<MediaRange>& ranges, JoinedMedia media, const RangesCutter& cutRanges,
                     TrackCut& cut);

}  // namespace isobmff
