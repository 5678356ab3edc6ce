#include "platform/backends/isobmff/PlayerTimeline.h"

#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/PresentationOrder.h"
#include "platform/backends/isobmff/SoundPackets.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace isobmff {

namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
/// No edit is looked at that begins later.
constexpr std::int64_t kLatest = std::int64_t(1) << 60;

std::int64_t lastPresentationTime(const SampleRun& run) {
  return run.presentationTime() + std::int64_t(run.count - 1) * run.duration;
}

/// `duration` in ticks of one scale as the nearest number of ticks of another.
std::int64_t rescale(std::uint64_t duration, std::uint32_t from, std::uint32_t to) {
  const long double ticks = static_cast<long double>(duration) * to / from + 0.5L;
  return ticks < 1e18L ? std::int64_t(ticks) : kLatest;
}

/// An edit that shows something, in ticks of the media.
struct Stretch {
  std::int64_t at = 0;  ///< the sum of the edits before
  std::int64_t from = 0, to = 0;
  bool first = false;  ///< of all that are not empty
};

struct Stretches {
  std::vector<Stretch> shown;
  std::int64_t empty = 0;  ///< ticks of the empty edits before the first one that is not
};

/// Of the edit list of a track whose media end at `end`.
Stretches stretchesOf(const Track& track, std::uint32_t movieTimescale, std::int64_t end) {
  Stretches stretches;
  std::int64_t at = 0;
  bool first = true;
  for (const EditSegment& edit : track.edits) {
    const std::int64_t length = rescale(edit.duration, movieTimescale, track.timescale);
    if (edit.mediaTime >= 0) {
      const std::int64_t to = edit.mediaTime < end - length ? edit.mediaTime + length : end;
      if (length > 0 && edit.mediaTime < to) stretches.shown.push_back({at, edit.mediaTime, to, first});
      first = false;
    } else if (first) {
      stretches.empty += length;
    }
    at += length;
    if (at > kLatest) break;
  }
  return stretches;
}

}  // namespace

bool isVisual(const Track& track) {
  return track.handler == fourCC("vide") || track.handler == fourCC("auxv") || track.handler == fourCC("pict");
}

bool isPlayed(const Track& track) {
  return track.handler == fourCC("vide") || track.handler == fourCC("soun");
}

PlayerTimeline::PlayerTimeline(const Movie& movie, const Track& track) : track_(track) {
  if (track.runs.empty()) return;
  first_ = kNever;
  end_ = -kNever;
  for (const SampleRun& run : track.runs) {
    first_ = std::min(first_, run.presentationTime());
    end_ = std::max(end_, lastPresentationTime(run) + std::max<std::int64_t>(run.duration, 1));
  }
  if (movie.fragmented || track.edits.empty()) {
    showFragments(movie);
  } else if (isVisual(track)) {
    showPictures(movie.timescale);
  } else if (track.handler == fourCC("soun")) {
    showSound(movie.timescale);
  } else {
    showOthers(movie.timescale);
  }
}

/// All of the media, in one go.
void PlayerTimeline::showFragments(const Movie& movie) {
  std::int64_t early = 0, last = first_;
  for (const SampleRun& run : track_.runs) {
    if (movie.fragmented) early = std::max<std::int64_t>(early, -std::int64_t(run.compositionOffset));
    last = std::max(last, lastPresentationTime(run));
  }
  const double scale = track_.timescale;
  double start = double(first_ + early) / scale;
  const auto real = std::find_if(track_.edits.begin(), track_.edits.end(),
                                 [](const EditSegment& edit) { return edit.mediaTime >= 0; });
  if (real != track_.edits.end()) {
    start -= double(real->mediaTime) / scale;
    if (real != track_.edits.begin()) start += double(track_.edits.front().duration) / movie.timescale;
  } else if (movie.fragmented) {
    start += double(movie.origin);
  }
  segments_.push_back(
      {start, start + double(end_ - first_) / scale, double(first_) / scale, first_, end_, last, 1 / scale});
}

void PlayerTimeline::showPictures(std::uint32_t movieTimescale) {
  const double scale = track_.timescale;
  const PresentationOrder order(track_.runs);
  const Stretches stretches = stretchesOf(track_, movieTimescale, end_);
  struct Found {
    const Stretch& stretch;
    PresentationOrder::Shown shown;
    std::int64_t start;
  };
  std::vector<Found> found;
  std::int64_t earliest = kNever;
  for (const Stretch& stretch : stretches.shown) {
    const auto shown = order.between(stretch.from, stretch.to);
    if (!shown) continue;
    found.push_back({stretch, *shown, stretch.at + (shown->earliest - shown->decoded)});
    earliest = std::min(earliest, found.back().start);
  }
  const std::int64_t late = found.empty() ? 0 : std::max<std::int64_t>(earliest - stretches.empty, 0);
  std::int64_t before = -kNever;  // when the last picture of the stretch in front begins, on the movie's timeline
  for (Found& each : found) {
    each.start -= late;
    if (each.start <= before) {
      const std::int64_t from = each.shown.earliest + (before - each.start) + 1;
      const auto rest = from < each.stretch.to ? order.between(from, each.stretch.to) : std::nullopt;
      if (!rest) continue;
      each.start += rest->earliest - each.shown.earliest;
      each.shown = *rest;
    }
    before = each.start + (each.shown.latest - each.shown.earliest);
    const double start = double(each.start) / scale;
    segments_.push_back({start, start + double(each.stretch.to - each.shown.earliest) / scale,
                         double(each.shown.earliest) / scale, each.shown.earliest, each.stretch.to, each.shown.latest,
                         1 / scale});
  }
  if (segments_.empty()) return;
  // What was dropped at the beginning is not missing at the end: the last picture stays as long as the list says.
  const Stretch& last = stretches.shown.back();
  if (&last == &found.back().stretch) {
    segments_.back().end = std::max(segments_.back().end, double(last.at + last.to - last.from) / scale);
  }
}

void PlayerTimeline::showSound(std::uint32_t movieTimescale) {
  const double scale = track_.timescale;
  const SoundPackets packets(track_.runs);
  const std::vector<Stretch> stretches = stretchesOf(track_, movieTimescale, end_).shown;
  for (const Stretch& stretch : stretches) {
    std::int64_t from = stretch.from, to = stretch.to;
    const auto begun = packets.at(from);
    if (!begun || (!stretch.first && begun->begin < from)) {
      const auto next = packets.from(from);
      if (!next || next->begin >= to) continue;
      from = next->begin;
    }
    const auto last = packets.at(to - 1);
    if (last && &stretch != &stretches.back()) to = std::max(to, last->end);
    const double start = double(stretch.at) / scale;
    segments_.push_back({start, start + double(to - from) / scale, double(from) / scale, from, to,
                         last ? std::max(last->begin, from) : from, 1 / scale});
  }
}

/// Text and the like, where the time inside a sample counts.
void PlayerTimeline::showOthers(std::uint32_t movieTimescale) {
  const double scale = track_.timescale;
  const PresentationOrder order(track_.runs);
  for (const Stretch& stretch : stretchesOf(track_, movieTimescale, end_).shown) {
    const double start = double(stretch.at) / scale;
    const auto shown = order.between(stretch.from, stretch.to);
    segments_.push_back({start, start + double(stretch.to - stretch.from) / scale, double(stretch.from) / scale,
                         stretch.from, stretch.to, shown ? shown->latest : stretch.from, 1 / scale});
  }
}

double PlayerTimeline::end() const {
  double end = 0;
  for (const ShownSegment& segment : segments_) end = std::max(end, segment.end);
  return end;
}

double playedEnd(const Movie& movie, const std::vector<PlayerTimeline>& timelines) {
  double end = 0;
  for (std::size_t i = 0; i < movie.tracks.size(); ++i) {
    if (isPlayed(movie.tracks[i])) end = std::max(end, timelines[i].end());
  }
  return end;
}

double playerDuration(const Movie& movie) {
  std::vector<PlayerTimeline> timelines;
  for (const Track& track : movie.tracks) timelines.emplace_back(movie, track);
  return playedEnd(movie, timelines);
}

}  // namespace isobmff
