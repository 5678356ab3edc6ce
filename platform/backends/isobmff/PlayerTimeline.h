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
  std::int64_t lastTick = 0;   ///< when the sample that is presented last begins
  double tick = 0;             ///< the length of one

  double mediaTime(double movieTime) const { return mediaStart + (movieTime - start); }
};

/// When our player shows which part of a track: the edit list as libavformat applies it.
///
/// - Pictures that begin before an edit does are dropped, in each. What is decoded first of the pictures shown is
///   decoded at the sum of the edits before; the track as a whole is shown earlier by as much as its first picture is
///   presented after that. So the first edit begins with its first whole picture. Later ones do as well where pictures
///   are decoded in the order of showing; where not, they may begin a few pictures earlier or later.
/// - Where an edit would begin before the last picture of the one in front of it, the moments up to that belong to that
///   picture: decoders give it out first, and players don't go back.
/// - Sound begins at the exact sample in the first edit; in later ones with the first whole packet, at the sum of the
///   edits before. The last packet of an edit is heard until the next edit begins.
/// - An edit of no length shows nothing. Nor does an empty one: behind a real one libavformat plays the media from
///   their start there, but a seek into it lands behind it.
/// - In a fragmented file the edit list only moves the media; nothing of it is dropped. Where pictures are presented
///   before they are decoded, the whole track is shown later by as much as any of them is.
class PlayerTimeline {
 public:
  PlayerTimeline(const Movie& movie, const Track& track);

  /// In the order in which they are shown, none begins before the one in front of it; none when the track shows
  /// nothing.
  const std::vector<ShownSegment>& segments() const { return segments_; }
  /// When the track begins, and when its last sample ends. Both 0 without segments.
  double start() const { return segments_.empty() ? 0 : segments_.front().start; }
  double end() const;

 private:
  void showFragments(const Movie& movie);
  void showPictures(std::uint32_t movieTimescale);
  void showSound(std::uint32_t movieTimescale);
  void showOthers(std::uint32_t movieTimescale);

  const Track& track_;
  std::int64_t first_ = 0, end_ = 0;  ///< of the media, in ticks
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
