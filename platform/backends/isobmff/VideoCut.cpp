#include "platform/backends/isobmff/PictureTimes.h"
#include "platform/backends/isobmff/TrackCut.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace isobmff {

namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
/// Key pictures that are looked at before the file's beginning is taken.
constexpr std::size_t kMaximumTries = 2048;

SampleRun sampleOf(const SampleRun& run, std::uint32_t position) {
  SampleRun sample = run;
  sample.count = 1;
  sample.index += position;
  sample.offset += std::uint64_t(position) * run.size;
  sample.decodeTime += std::int64_t(position) * run.duration;
  return sample;
}

/// Calls `visit` with each sample by itself, in decode order, until it returns false.
template <class Visit>
void forEachSample(const std::vector<SampleRun>& runs, std::uint32_t firstIndex, CutBudget& budget, Visit visit) {
  auto run = std::upper_bound(runs.begin(), runs.end(), firstIndex,
                              [](std::uint32_t index, const SampleRun& candidate) { return index < candidate.index; });
  if (run != runs.begin()) --run;
  for (; run != runs.end(); ++run) {
    budget.step();
    if (run->count == 1) {
      if (run->index >= firstIndex && !visit(*run)) return;
      continue;
    }
    for (std::uint32_t i = firstIndex > run->index ? firstIndex - run->index : 0; i < run->count; ++i) {
      budget.step();
      if (!visit(sampleOf(*run, i))) return;
    }
  }
}

class VideoCut {
 public:
  VideoCut(const Track& track, const std::vector<MediaRange>& ranges, const DecodingStart& decoding, bool gap,
           CutBudget& budget)
      : track_(track), ranges_(ranges), decoding_(decoding), gap_(gap), budget_(budget) {}

  CutOutcome run(TrackCut& cut);

 private:
  double shownUntil(const MediaRange& range) const;
  bool findShown();
  std::uint32_t decodingStart() const;

  const Track& track_;
  const std::vector<MediaRange>& ranges_;
  const DecodingStart& decoding_;
  const bool gap_;
  CutBudget& budget_;

  const MediaRange* earliest_ = nullptr;  // of the ranges, by media time
  double inPoint_ = 0, outPoint_ = 0;     // media time in seconds, over all ranges
  std::int64_t endTick_ = kNever;         // what is presented then or later is not shown
  std::uint32_t firstShown_ = 0;          // index of the picture on screen at the in-point
  std::int64_t firstShownTime_ = 0;       // when it is presented in the source
  std::uint32_t lastShown_ = 0, lastNeeded_ = 0;
};

/// Where a range's part of the media ends, in seconds. With other ranges behind it in the media its last picture can't
/// be held, but for a moment the next one does.
double VideoCut::shownUntil(const MediaRange& range) const {
  constexpr double kMoment = 0.1;
  return ranges_.size() == 1 || range.held < kMoment ? range.to + range.held : range.to;
}

/// The first and the last picture shown, and the last one needed in decode order.
bool VideoCut::findShown() {
  const double scale = track_.timescale;
  const double from = (inPoint_ + PictureTimes::kTolerance) * scale;
  const double until = std::max((outPoint_ - PictureTimes::kTolerance) * scale, inPoint_ * scale);
  std::int64_t best = -kNever, next = kNever, last = -kNever;
  std::uint32_t bestIndex = 0, nextIndex = 0, lastIndex = 0, lastDecoded = 0;
  forEachSample(track_.runs, 0, budget_, [&](const SampleRun& sample) {
    const std::int64_t time = sample.presentationTime();
    if (time < earliest_->firstTick || time >= endTick_) return true;
    if (double(time) <= from) {
      if (time > best) best = time, bestIndex = sample.index;
    } else if (double(time) < until) {
      if (time < next) next = time, nextIndex = sample.index;
      if (time > last) last = time, lastIndex = sample.index;
      lastDecoded = sample.index;
    }
    return true;
  });
  const bool onScreen = best != -kNever, anyAfter = next != kNever;
  if (!onScreen && !anyAfter) return false;
  firstShown_ = onScreen ? bestIndex : nextIndex;
  firstShownTime_ = onScreen ? best : next;
  lastShown_ = anyAfter ? lastIndex : firstShown_;
  lastNeeded_ = anyAfter ? std::max(lastDecoded, firstShown_) : firstShown_;
  return true;
}

/// The last sample from which everything that is shown can be decoded.
std::uint32_t VideoCut::decodingStart() const {
  std::vector<std::uint32_t> candidates;
  std::int64_t latestBefore = -kNever;  // presentation time of all samples before
  forEachSample(track_.runs, 0, budget_, [&](const SampleRun& sample) {
    const std::int64_t time = sample.presentationTime();
    // What is decoded before a key picture is presented before it too. Where it isn't, go further back.
    if ((sample.sync || sample.partialSync) && time <= firstShownTime_ && latestBefore < firstShownTime_) {
      if (candidates.size() >= 2 * kMaximumTries)
        candidates.erase(candidates.begin(), candidates.begin() + std::ptrdiff_t(kMaximumTries));
      candidates.push_back(sample.index);
    }
    latestBefore = std::max(latestBefore, time);
    return sample.index < firstShown_;
  });
  for (std::size_t tries = 0; tries < kMaximumTries && !candidates.empty(); ++tries) {
    const std::uint32_t candidate = candidates.back();
    bool leads = false;
    forEachSample(track_.runs, candidate, budget_, [&](const SampleRun& sample) {
      leads = decoding_.leadsTo(sample, {firstShown_, firstShownTime_, lastNeeded_});
      return false;
    });
    if (leads) return candidate;
    candidates.pop_back();
  }
  return 0;
}

CutOutcome VideoCut::run(TrackCut& cut) {
  earliest_ = &*std::min_element(ranges_.begin(), ranges_.end(),
                                 [](const MediaRange& a, const MediaRange& b) { return a.from < b.from; });
  inPoint_ = earliest_->from;
  outPoint_ = inPoint_;
  for (const MediaRange& range : ranges_) outPoint_ = std::max(outPoint_, shownUntil(range));
  if (ranges_.size() == 1) endTick_ = earliest_->endTick;
  if (!findShown()) return CutOutcome::Empty;
  const std::uint32_t start = decodingStart();

  TrackPlan& plan = cut.plan;
  budget_.keepSamples(std::uint64_t(lastNeeded_ - start) + 1);
  plan.runs.reserve(lastNeeded_ - start + 1);
  forEachSample(track_.runs, start, budget_, [&](const SampleRun& sample) {
    plan.runs.push_back(sample);
    return sample.index < lastNeeded_;
  });

  decoding_.correctMarks(plan.runs);

  // Players begin at the last key picture before the in-point. Those that were found not to do must not invite them.
  for (SampleRun& sample : plan.runs) {
    if (sample.index > firstShown_) break;
    if (sample.index == start || sample.presentationTime() > firstShownTime_) continue;
    sample.sync = sample.partialSync = false;
  }

  PictureTimes times;
  if (!times.assign(plan.runs, track_.timescale, {inPoint_, outPoint_, firstShownTime_, endTick_, gap_}))
    return CutOutcome::Overflow;
  // Players look for a place to begin by decode time. A key picture that is decoded by the in-point but presented later
  // would win them over, and what is presented before it would be lost.
  for (SampleRun& sample : plan.runs) {
    if (sample.index == start || sample.decodeTime > times.newTime(inPoint_)) continue;
    if (sample.presentationTime() > times.newTime(inPoint_)) sample.sync = sample.partialSync = false;
  }
  plan.timescale = times.timescale();
  plan.mediaDuration = times.mediaDuration();
  plan.firstShown = firstShown_;
  plan.lastShown = lastShown_;
  for (const MediaRange& range : ranges_) {
    const std::int64_t from = times.newTime(range.from);
    const std::int64_t duration = times.newTime(shownUntil(range)) - from;
    if (duration > 0) cut.edits.push_back({range.showAt, from, duration});
  }
  return cut.edits.empty() ? CutOutcome::Empty : CutOutcome::Done;
}

}  // namespace

std::vector<MediaRange> mediaRanges(const PlayerTimeline& timeline, bool visual, double start, double end) {
  std::vector<MediaRange> ranges;
  const std::vector<ShownSegment>& segments = timeline.segments();
  for (auto segment = segments.begin(); segment != segments.end(); ++segment) {
    const bool last = std::next(segment) == segments.end();
    const double nextStart = last ? std::numeric_limits<double>::infinity() : std::next(segment)->start;
    const double until = std::min(end, nextStart);  // when something else is shown
    const double from = std::max(start, segment->start), to = std::min(until, segment->end);
    if (from < to) {
      const double held = visual && !last ? until - to : 0;
      ranges.push_back(
          {from - start, segment->mediaTime(from), segment->mediaTime(to), held, segment->firstTick, segment->endTick});
    } else if (visual && start >= segment->end && start < until) {
      const std::int64_t tick = segment->lastTick;
      const double picture = segment->mediaStart + double(tick - segment->firstTick) * segment->tick;
      const double shown = std::min(double(segment->endTick - tick) * segment->tick, until - start);
      ranges.push_back({0, picture, picture + shown, until - start - shown, tick, tick + 1});
    }
  }
  return ranges;
}

CutOutcome cutPictures(const Track& track, const std::vector<MediaRange>& ranges, const DecodingStart& decoding,
                       bool gap, CutBudget& budget, TrackCut& cut) {
  return ranges.empty() ? CutOutcome::Empty : VideoCut(track, ranges, decoding, gap, budget).run(cut);
}

}  // namespace isobmff
