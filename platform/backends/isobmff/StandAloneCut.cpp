#include "platform/backends/isobmff/TrackCut.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace isobmff {

CutOutcome cutStandAlone(const Track& track, const std::vector<MediaRange>& ranges, bool verbatim, CutBudget& budget,
                         TrackCut& cut) {
  if (ranges.empty() || track.runs.empty()) return CutOutcome::Empty;
  double from = ranges.front().from, to = ranges.front().to;
  for (const MediaRange& range : ranges) from = std::min(from, range.from), to = std::max(to, range.to);
  const auto ticks = [&](double seconds) { return std::int64_t(std::llround(seconds * track.timescale)); };
  const std::int64_t inPoint = ticks(from), outPoint = ticks(to);
  if (outPoint <= inPoint) return CutOutcome::Empty;

  budget.step(track.runs.size());
  TrackPlan& plan = cut.plan;
  plan.timescale = track.timescale;
  for (const SampleRun& source : track.runs) {
    const std::int64_t end = source.decodeTime + std::int64_t(source.count) * source.duration;
    if (end <= inPoint && &source != &track.runs.back()) continue;
    if (source.decodeTime >= outPoint) break;
    SampleRun run = source;
    if (run.duration > 0) {
      const std::int64_t before = std::max<std::int64_t>((inPoint - run.decodeTime) / run.duration, 0);
      const std::int64_t until = (outPoint - run.decodeTime + run.duration - 1) / run.duration;
      if (before >= run.count) continue;
      run.offset += std::uint64_t(before) * run.size;
      run.index += std::uint32_t(before);
      run.decodeTime += before * run.duration;
      run.count = std::uint32_t(std::min<std::int64_t>(until, source.count) - before);
    }
    if (!plan.firstShown) plan.firstShown = run.index;
    plan.lastShown = run.index + run.count - 1;
    budget.keepSamples(1);
    plan.runs.push_back(run);
  }
  if (plan.runs.empty()) return CutOutcome::Empty;

  // A sample that stands alone can be shortened: what is on screen at the in-point begins there, and the last ends with
  // the cut. A timecode counts from its sample's start and keeps it.
  std::int64_t zero = std::min(plan.runs.front().decodeTime, inPoint);
  const auto alone = [&](std::size_t at, std::uint32_t position) {
    SampleRun& run = plan.runs[at];
    if (run.count == 1) return at;
    SampleRun single = run;
    single.count = 1;
    const bool first = position == 0;
    if (!first) {
      single.index += run.count - 1;
      single.offset += std::uint64_t(run.count - 1) * run.size;
      single.decodeTime += std::int64_t(run.count - 1) * run.duration;
    } else {
      run.index += 1;
      run.offset += run.size;
      run.decodeTime += run.duration;
    }
    --run.count;
    plan.runs.insert(plan.runs.begin() + std::ptrdiff_t(first ? at : at + 1), single);
    return first ? at : at + 1;
  };
  if (!verbatim) {
    if (zero < inPoint) {
      SampleRun& first = plan.runs[alone(0, 0)];
      first.duration = std::uint32_t(std::max<std::int64_t>(first.decodeTime + first.duration - inPoint, 0));
      first.decodeTime = zero = inPoint;
    }
    const std::size_t last = plan.runs.size() - 1;
    const std::int64_t end =
        plan.runs[last].decodeTime + std::int64_t(plan.runs[last].count) * plan.runs[last].duration;
    if (end > outPoint) {
      SampleRun& run = plan.runs[alone(last, plan.runs[last].count - 1)];
      run.duration = std::uint32_t(outPoint - run.decodeTime);
    }
  }
  for (SampleRun& run : plan.runs) {
    run.decodeTime -= zero;
    plan.mediaDuration = run.decodeTime + std::int64_t(run.count) * run.duration;
  }
  for (const MediaRange& range : ranges) {
    const std::int64_t begin = ticks(range.from), finish = ticks(range.to);
    if (finish > begin) cut.edits.push_back({range.showAt, begin - zero, finish - begin});
  }
  return cut.edits.empty() ? CutOutcome::Empty : CutOutcome::Done;
}

}  // namespace isobmff
