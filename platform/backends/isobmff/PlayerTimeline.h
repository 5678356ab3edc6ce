#pragma once

#include "platform/backends/isobmff/Movie.h"

#include <vector>

namespace isobmff {

/// A stretch of a track's media that a player shows in one go. Seconds, unless it says ticks.
struct ShownSegment {
  double start = 0;            ///< on the movie's timeline
  double end = 0;              ///< the same
  double mediaStart = 0;       ///< what is shown at `start`, in the media's own time
  std::int64_t firstTick = 0;  ///< samples that are presented earlier are not shown
  std::int64_t endTick = 0;    ///< nor those that are presented then or later

  double mediaTime(double movieTime) const { return mediaStart + (movieTime - start); }
};

/// When our player shows which part of a track: the edit list as libavformat applies it.
///
/// - Pictures that begin before a segment does are dropped, and the track then begins with the first whole one, that
///   much earlier than the edit list says.
/// - An empty edit shows nothing. Behind a real one libavformat plays the media from their start there, but a seek into
///   it lands behind it: here nothing new is shown and nothing heard.
/// - In a fragmented file the edit list only moves the media; nothing of it is dropped. Where pictures are presented
///   before they are decoded, the whole track is shown later by as much as any of them is.
class PlayerTimeline {
 public:
  PlayerTimeline(const Movie& movie, const Track& track);

  /// In the order in which they are shown; none when the track shows nothing.
  const std::vector<ShownSegment>& segments() const { return segments_; }
  /// When the track begins, and when its last sample ends. Both 0 without segments.
  double start() const { return segments_.empty() ? 0 : segments_.front().start; }
  double end() const;
  /// When the sample that is presented last in a segment begins, in ticks.
  std::int64_t lastTick(const ShownSegment& segment) const;

 private:
  std::int64_t firstTickFrom(std::int64_t tick) const;

  const Track& track_;
  std::vector<ShownSegment> segments_;
};

/// When the last picture or sound ends on the movie's timeline, in seconds. It begins at 0, whether anything is there
/// or not: a recording may begin later, and what a fragmented file has before is the lead-in of its sound. Nothing is
/// played where the end is 0. `timelines` are those of the movie's tracks.
double playedEnd(const Movie& movie, const std::vector<PlayerTimeline>& timelines);

/// Whether the track shows pictures, so that what was shown last stays until something else is.
bool isVisual(const Track& track);
/// Whether the track decides when the movie begins and ends for a player.
bool isPlayed(const Track& track);

}  // namespace isobmff
