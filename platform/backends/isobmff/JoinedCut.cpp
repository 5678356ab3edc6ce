#include "platform/backends/isobmff/JoinedCut.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace isobmff {

namespace {

constexpr std::int64_t kMaximum31 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kLatest = std::int64_t(1) << 61;
constexpr std::size_t kMany = 64;
/// A shorter silence between two edits is not made.
constexpr double kSilence = 0.001;  // seconds

bool isShown(const SampleRun& sample, const TrackEdit& edit) {
  const std::int64_t inside = sample.presentationTime() - edit.mediaTime;
  return inside >= 0 && inside < edit.duration;
}

/// The picture that is decoded first of those that a part shows; the part has one edit, and each run one picture.
std::size_t firstDecoded(const TrackCut& part) {
  const std::vector<SampleRun>& runs = part.plan.runs;
  const auto first = std::find_if(runs.begin(), runs.end(),
                                  [&](const SampleRun& sample) { return isShown(sample, part.edits.front()); });
  return first == runs.end() ? 0 : std::size_t(first - runs.begin());
}

/// How late the picture with the number `first` can be decoded when none may be presented before it is decoded.
std::int64_t latestDecoding(const TrackCut& part, std::size_t first) {
  std::int64_t latest = std::numeric_limits<std::int64_t>::max();
  for (std::size_t i = first; i < part.plan.runs.size(); ++i) {
    latest = std::min(latest, part.plan.runs[i].presentationTime() - std::int64_t(i - first));
  }
  return latest;
}

/// Puts the first picture's decoding `lead` ticks before the first picture shown, by decoding it later or showing the
/// part later. False when the times do not fit.
bool setLead(TrackCut& part, std::int64_t lead) {
  std::vector<SampleRun>& runs = part.plan.runs;
  const std::size_t first = firstDecoded(part);
  const std::int64_t later = part.edits.front().mediaTime - lead - runs[first].decodeTime;
  const auto move = [](SampleRun& sample, std::int64_t decodeTime) {
    const std::int64_t offset = sample.compositionOffset - (decodeTime - sample.decodeTime);
    sample.compositionOffset = std::int32_t(offset);
    sample.decodeTime = decodeTime;
    return offset <= kMaximum31;
  };
  bool fits = true;
  if (later > 0) {
    std::int64_t time = runs[first].decodeTime + later;
    for (std::size_t i = first; i < runs.size() && runs[i].decodeTime < time; ++i, ++time) move(runs[i], time);
  } else if (later < 0) {
    const std::int64_t shownFrom = part.edits.front().mediaTime;
    for (std::size_t i = 0; i < runs.size(); ++i) {
      if (i < first && runs[i].presentationTime() < shownFrom) continue;
      runs[i].decodeTime -= later;
      if (i <= first) fits = move(runs[i], runs[i].decodeTime + later) && fits;
    }
    part.edits.front().mediaTime -= later;
    part.plan.mediaDuration -= later;
  }
  for (std::size_t i = 0; i + 1 < runs.size(); ++i) {
    const std::int64_t duration = runs[i + 1].decodeTime - runs[i].decodeTime;
    fits = fits && duration <= kMaximum31;
    runs[i].duration = std::uint32_t(duration);
  }
  runs.back().duration = std::uint32_t(std::max<std::int64_t>(part.plan.mediaDuration - runs.back().decodeTime, 1));
  part.plan.mediaDuration = runs.back().decodeTime + runs.back().duration;
  return fits;
}

bool setLeads(std::vector<TrackCut>& parts) {
  std::int64_t lead = 0;
  for (const TrackCut& part : parts) {
    lead = std::max(lead, part.edits.front().mediaTime - latestDecoding(part, firstDecoded(part)));
  }
  return std::all_of(parts.begin(), parts.end(), [lead](TrackCut& part) { return setLead(part, lead); });
}

/// Lets sound last until the next part is heard: an empty edit in the middle is none for libavformat.
void addSilence(TrackCut& part, const TrackCut& next) {
  TrackEdit& edit = part.edits.back();
  SampleRun& last = part.plan.runs.back();
  const double wanted = (next.edits.front().showAt - edit.showAt) * part.plan.timescale;
  const auto missing = std::int64_t(std::llround(std::min(wanted, 1e15))) - edit.duration;
  const bool closed = part.plan.lastShown == last.index + last.count - 1;
  if (double(missing) < kSilence * part.plan.timescale || missing + last.duration > kMaximum31) return;
  if (!closed || last.count > 1) return;
  edit.duration += missing;
  const std::int64_t end = std::max(part.plan.mediaDuration, edit.mediaTime + edit.duration);
  last.duration += std::uint32_t(end - part.plan.mediaDuration);
  part.plan.mediaDuration = end;
}

/// Puts `next` behind `cut`. False when the times do not fit.
bool append(TrackCut& cut, TrackCut&& next) {
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

bool join(std::vector<TrackCut>& parts, JoinedMedia media, TrackCut& cut) {
  std::uint32_t scale = 0;
  for (const TrackCut& part : parts) scale = std::max(scale, part.plan.timescale);
  for (TrackCut& part : parts) {
    if (scale % part.plan.timescale != 0 || !multiplyTimes(part, scale / part.plan.timescale)) return false;
  }
  if (media == JoinedMedia::Pictures && !setLeads(parts)) return false;
  for (auto part = parts.begin(); part != parts.end(); ++part) {
    if (media == JoinedMedia::Sound && std::next(part) != parts.end()) addSilence(*part, *std::next(part));
  }
  cut = std::move(parts.front());
  return std::all_of(std::next(parts.begin()), parts.end(),
                     [&cut](TrackCut& part) { return append(cut, std::move(part)); });
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

CutOutcome cutJoined(const std::vector<MediaRange>& ranges, JoinedMedia media, const RangesCutter& cutRanges,
                     TrackCut& cut) {
  if (ranges.size() < 2 || ranges.size() > kMany) return cutRanges(ranges, JoinedPart::First, cut);
  std::vector<TrackCut> parts;
  for (const MediaRange& range : ranges) {
    TrackCut part;
    const CutOutcome outcome = cutRanges({range}, parts.empty() ? JoinedPart::First : JoinedPart::Later, part);
    if (outcome == CutOutcome::Overflow) return outcome;
    if (outcome == CutOutcome::Done) parts.push_back(std::move(part));
  }
  if (parts.empty()) return CutOutcome::Empty;
  if (parts.size() == 1) {
    cut = std::move(parts.front());
    return CutOutcome::Done;
  }
  return join(parts, media, cut) ? CutOutcome::Done : cutRanges(ranges, JoinedPart::First, cut);
}

}  // namespace isobmff
