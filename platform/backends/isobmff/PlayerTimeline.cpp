#include "platform/backends/isobmff/PlayerTimeline.h"

#include "platform/backends/isobmff/CutPlan.h"

#include <algorithm>
#include <limits>

namespace isobmff {

namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

std::int64_t lastPresentationTime(const SampleRun& run) {
  return run.presentationTime() + std::int64_t(run.count - 1) * run.duration;
}

/// `duration` in ticks of one scale as the nearest number of ticks of another.
std::int64_t rescale(std::uint64_t duration, std::uint32_t from, std::uint32_t to) {
  const long double ticks = static_cast<long double>(duration) * to / from + 0.5L;
  return ticks < 4e18L ? std::int64_t(ticks) : kNever / 2;
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
  std::int64_t first = kNever, end = -kNever, early = 0;
  for (const SampleRun& run : track.runs) {
    first = std::min(first, run.presentationTime());
    early = std::max<std::int64_t>(early, -std::int64_t(run.compositionOffset));
    const std::int64_t last = lastPresentationTime(run);
    end = std::max(end, last + std::max<std::int64_t>(run.duration, 1));
  }
  const double scale = track.timescale;

  const auto real =
      std::find_if(track.edits.begin(), track.edits.end(), [](const EditSegment& edit) { return edit.mediaTime >= 0; });
  if (movie.fragmented || real == track.edits.end()) {
    double start = double(movie.fragmented ? first + early : first) / scale;
    if (real != track.edits.end()) {
      start -= double(real->mediaTime) / scale;
      if (real != track.edits.begin()) start += double(track.edits.front().duration) / movie.timescale;
    } else if (movie.fragmented) {
      start += double(movie.origin);
    } else if (!track.edits.empty()) {
      return;  // empty edits only
    }
    segments_.push_back({start, start + double(end - first) / scale, double(first) / scale, first, end});
  } else {
    double at = 0;
    bool any = false;
    for (const EditSegment& edit : track.edits) {
      const double length = double(edit.duration) / movie.timescale;
      if (edit.mediaTime < 0) {
        at += length;
        continue;
      }
      std::int64_t from = edit.mediaTime;
      const std::int64_t ticks =
          edit.duration == 0 ? kNever / 2 : rescale(edit.duration, movie.timescale, track.timescale);
      const std::int64_t to = from < end - ticks ? from + ticks : end;
      double dropped = 0;
      if (!any && isVisual(track)) {
        const std::int64_t whole = firstTickFrom(from);
        if (whole > from && whole < to) {
          dropped = double(whole - from) / scale;
          from = whole;
        }
      }
      any = true;
      if (from < to) {
        segments_.push_back({at, at + double(to - from) / scale, double(from) / scale, from, to});
      }
      at += edit.duration == 0 ? double(to - from) / scale : length - dropped;
    }
  }
}

std::int64_t PlayerTimeline::lastTick(const ShownSegment& segment) const {
  std::int64_t found = segment.firstTick;
  for (const SampleRun& run : track_.runs) {
    std::int64_t last = lastPresentationTime(run);
    if (last >= segment.endTick && run.duration > 0) {
      const std::int64_t steps = (segment.endTick - 1 - run.presentationTime()) / run.duration;
      last = run.presentationTime() + std::max<std::int64_t>(steps, 0) * run.duration;
    }
    if (last < segment.endTick) found = std::max(found, last);
  }
  return found;
}

double PlayerTimeline::end() const {
  double end = 0;
  for (const ShownSegment& segment : segments_) end = std::max(end, segment.end);
  return end;
}

/// The earliest presentation time at or after `tick`.
std::int64_t PlayerTimeline::firstTickFrom(std::int64_t tick) const {
  std::int64_t found = kNever;
  for (const SampleRun& run : track_.runs) {
    std::int64_t time = run.presentationTime();
    if (time < tick && run.count > 1 && run.duration > 0) {
      const std::int64_t steps = std::min<std::int64_t>((tick - time + run.duration - 1) / run.duration, run.count - 1);
      time += steps * run.duration;
    }
    if (time >= tick) found = std::min(found, time);
  }
  return found;
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
