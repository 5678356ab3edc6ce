#include "platform/backends/isobmff/JoinedCut.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace isobmff {

namespace {

constexpr std::int64_t kMaximum31 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kLatest = std::int64_t(1) << 61;

/// Puts `next` behind `cut`. False when it does not lie behind it in the source, or the times do not fit.
bool append(TrackCut& cut, TrackCut& next) {
  const SampleRun& last = cut.plan.runs.back();
  if (next.plan.runs.front().index < last.index + last.count) return false;
  const std::uint32_t scale = std::max(cut.plan.timescale, next.plan.timescale);
  for (TrackCut* part : {&cut, &next}) {
    if (scale % part->plan.timescale != 0 || !multiplyTimes(*part, scale / part->plan.timescale)) return false;
  }
  const std::int64_t shift = cut.plan.mediaDuration;
  if (shift > kLatest - next.plan.mediaDuration) return false;
  for (SampleRun run : next.plan.runs) {
    run.decodeTime += shift;
    cut.plan.runs.push_back(run);
  }
  for (TrackEdit edit : next.edits) {
    edit.mediaTime += shift;
    cut.edits.push_back(edit);
  }
  cut.plan.mediaDuration += next.plan.mediaDuration;
  cut.plan.lastShown = next.plan.lastShown;
  return true;
}

}  // namespace

bool multiplyTimes(TrackCut& cut, std::int64_t factor) {
  if (factor == 1) return true;
  TrackPlan& plan = cut.plan;
  const bool fits = std::all_of(plan.runs.begin(), plan.runs.end(), [factor](const SampleRun& run) {
    return run.duration * factor <= kMaximum31 && std::abs(std::int64_t(run.compositionOffset)) * factor <= kMaximum31;
  });
  if (!fits || plan.timescale * factor > kMaximum31 || plan.mediaDuration > kLatest / factor) return false;
  for (SampleRun& run : plan.runs) {
    run.decodeTime *= factor;
    run.duration = std::uint32_t(run.duration * factor);
    run.compositionOffset = std::int32_t(run.compositionOffset * factor);
  }
  for (TrackEdit& edit : cut.edits) edit.mediaTime *= factor, edit.duration *= factor;
  plan.mediaDuration *= factor;
  plan.timescale = std::uint32_t(plan.timescale * factor);
  return true;
}

CutOutcome cutJoined(const std::vector<MediaRange>& ranges, const RangesCutter& cutRanges, TrackCut& cut) {
  constexpr std::size_t kMany = 64;
  if (ranges.size() < 2 || ranges.size() > kMany) return cutRanges(ranges, true, cut);
  TrackCut joined;
  bool apart = true;
  for (auto range = ranges.begin(); range != ranges.end() && apart; ++range) {
    TrackCut part;
    apart = cutRanges({*range}, range == ranges.begin(), part) == CutOutcome::Done && !part.plan.runs.empty();
    if (apart && range == ranges.begin())
      joined = std::move(part);
    else
      apart = apart && append(joined, part);
  }
  if (!apart) return cutRanges(ranges, true, cut);
  cut = std::move(joined);
  return CutOutcome::Done;
}

}  // namespace isobmff
