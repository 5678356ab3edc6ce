#include "platform/AVFoundation/AVError.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/JoinedCut.h"
#include "platform/backends/isobmff/SampleTableWriter.h"
#include "platform/backends/isobmff/TrackCut.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <numeric>

namespace isobmff {

namespace {

constexpr std::uint64_t kMaximum31 = std::numeric_limits<std::int32_t>::max();
constexpr std::uint64_t kMaximum32 = std::numeric_limits<std::uint32_t>::max();

NSErrorPtr failure(int code, const std::string& text) {
  return std::make_shared<const NSError>(AVFoundationErrorDomain, code, text);
}

bool isProtected(FourCC format) {
  constexpr FourCC kFormats[] = {fourCC("encv"), fourCC("enca"), fourCC("enct"), fourCC("encs"), fourCC("encm"),
                                 fourCC("encu"), fourCC("drmi"), fourCC("drms"), fourCC("drmt")};
  return std::find(std::begin(kFormats), std::end(kFormats), format) != std::end(kFormats);
}

/// Thirty years. Nothing that is counted in ticks overflows.
constexpr double kMaximumLength = 1e9;
/// Less is left only by mistake where more was asked for: a millisecond, less what is lost in rounding.
constexpr double kMinimumRest = 0.000'999;

std::uint64_t samplesOf(const TrackPlan& plan) {
  std::uint64_t samples = 0;
  for (const SampleRun& run : plan.runs) samples += run.count;
  return samples;
}

class CutPlanner {
 public:
  CutPlanner(const Movie& movie, int descriptor, const std::string& name, CutBudget& budget)
      : movie_(movie), descriptor_(descriptor), name_(name), budget_(budget) {}

  std::unique_ptr<CutPlan> plan(CMTimeRange range, NSErrorPtr* error);

 private:
  NSErrorPtr examine() const;
  NSErrorPtr limit(CMTimeRange range, CutPlan& plan);
  CutOutcome cutTrack(std::size_t index, TrackCut& cut) const;
  void countTables(std::size_t index) const;
  void keepOnePacket(std::size_t index, TrackPlan& plan) const;
  std::uint32_t chooseTimescale() const;
  void refine(TrackCut& cut, std::uint32_t timescale) const;
  void placeEdits(CutPlan& plan);

  const Movie& movie_;
  const int descriptor_;
  const std::string& name_;
  CutBudget& budget_;

  std::vector<PlayerTimeline> timelines_;  // one for each track
  double start_ = 0, end_ = 0;             // of the range, in seconds
  std::vector<TrackCut> cuts_;             // one for each track
};

NSErrorPtr CutPlanner::examine() const {
  for (const Track& track : movie_.tracks) {
    if (isLeftOut(track)) continue;
    if (std::any_of(track.formats.begin(), track.formats.end(), isProtected)) {
      return failure(AVErrorExportFailed, "“" + name_ + "” is copy-protected and can't be trimmed.");
    }
    if (!track.selfContained) {
      return failure(AVErrorExportFailed,
                     "“" + name_ + "” has its pictures or sound in another file and can't be trimmed.");
    }
  }
  return nullptr;
}

NSErrorPtr CutPlanner::limit(CMTimeRange range, CutPlan& plan) {
  if (!range.start.isValid() || !range.duration.isValid() || range.start.value < 0 || range.duration.value <= 0) {
    return failure(AVErrorInvalidTimeRange, "There is nothing between the two ends of the selection.");
  }
  const double end = playedEnd(movie_, timelines_);
  start_ = CMTimeGetSeconds(range.start);
  if (start_ >= end) {
    return failure(AVErrorInvalidTimeRange, "The selection lies behind the end of “" + name_ + "”.");
  }
  end_ = std::min(start_ + CMTimeGetSeconds(range.duration), end);
  if (end_ - start_ < kMinimumRest && end < start_ + CMTimeGetSeconds(range.duration)) {
    return failure(AVErrorInvalidTimeRange, "There is nothing between the two ends of the selection.");
  }
  if (end_ - start_ > kMaximumLength) {
    return failure(AVErrorExportFailed, "The times in “" + name_ + "” are too large for a trimmed copy.");
  }
  plan.sourceStart = range.start;
  plan.sourceEnd = CMTimeMakeWithSeconds(end_, 1'000'000);
  plan.start = start_;
  plan.end = end_;
  return nullptr;
}

CutOutcome CutPlanner::cutTrack(std::size_t index, TrackCut& cut) const {
  const Track& track = movie_.tracks[index];
  const bool visual = isVisual(track);
  const std::vector<MediaRange> ranges = mediaRanges(timelines_[index], visual, start_, end_);
  if (ranges.empty()) return CutOutcome::Empty;
  if (track.handler == fourCC("soun")) {
    const SoundFormat format = soundFormat(movie_, index);
    return cutJoined(
        ranges, JoinedMedia::Sound,
        [&](const auto& some, JoinedPart, TrackCut& part) { return cutSound(track, some, format, budget_, part); },
        cut);
  }
  const bool dependent = std::any_of(track.runs.begin(), track.runs.end(),
                                     [](const SampleRun& run) { return !run.sync || run.compositionOffset != 0; });
  if (visual || dependent) {
    const DecodingStart decoding(movie_, index, descriptor_, budget_);
    return cutJoined(
        ranges, JoinedMedia::Pictures,
        [&](const auto& some, JoinedPart place, TrackCut& part) {
          return cutPictures(track, some, decoding, place == JoinedPart::First, budget_, part);
        },
        cut);
  }
  return cutStandAlone(track, ranges, track.handler == fourCC("tmcd"), budget_, cut);
}

/// What the track adds to the new file's index.
void CutPlanner::countTables(std::size_t index) const {
  const Track& source = movie_.tracks[index];
  budget_.step(cuts_[index].plan.runs.size() * (source.groups.size() + 1));
  budget_.addTables(sampleTableBytes(source, cuts_[index].plan));
}

/// Gecko waits for ever for the sound of a track without any sample, and shows no picture until then. So there is one,
/// the last before the cut, a tick long, behind an edit list that shows nothing.
void CutPlanner::keepOnePacket(std::size_t index, TrackPlan& plan) const {
  const Track& track = movie_.tracks[index];
  if (track.runs.empty()) return;
  std::int64_t time = 0;
  for (const ShownSegment& segment : timelines_[index].segments()) {
    if (segment.start <= start_) time = std::int64_t(std::min(segment.mediaTime(start_) * track.timescale, 1e18));
  }
  auto run = std::upper_bound(track.runs.begin(), track.runs.end(), time,
                              [](std::int64_t t, const SampleRun& candidate) { return t < candidate.decodeTime; });
  SampleRun packet = run == track.runs.begin() ? *run : *--run;
  packet.count = 1;
  packet.decodeTime = 0;
  packet.duration = 1;
  packet.compositionOffset = 0;
  plan.runs = {packet};
  plan.mediaDuration = 1;
}

/// The least common multiple of the tracks' scales; of as many as 31 bits hold, pictures first.
std::uint32_t CutPlanner::chooseTimescale() const {
  std::uint64_t scale = 1;
  const auto include = [&](std::uint32_t other) {
    const std::uint64_t multiple = std::lcm<std::uint64_t>(scale, other);
    if (other > 0 && multiple <= kMaximum31) scale = multiple;
  };
  for (const char* handler : {"vide", "soun", ""}) {
    for (std::size_t i = 0; i < cuts_.size(); ++i) {
      if (!*handler || toString(movie_.tracks[i].handler) == handler) include(cuts_[i].plan.timescale);
    }
  }
  // A movie of tracks with huge odd scales still wants a fine one.
  while (scale < 10'000) scale *= 2;
  return std::uint32_t(scale);
}

/// Gecko takes the length of an empty beginning for ticks of the media, so where there is one both scales are the same.
void CutPlanner::refine(TrackCut& cut, std::uint32_t timescale) const {
  if (cut.edits.empty() || cut.edits.front().showAt <= 0 || timescale % cut.plan.timescale != 0) return;
  multiplyTimes(cut, timescale / cut.plan.timescale);
}

/// Edit lists and durations in ticks of the movie's scale.
void CutPlanner::placeEdits(CutPlan& plan) {
  for (TrackCut& cut : cuts_) {
    std::uint64_t at = 0;
    for (const TrackEdit& edit : cut.edits) {
      const auto start = std::uint64_t(std::llround(edit.showAt * plan.timescale));
      // Neighbours that rounding has parted belong together.
      if (start > at && (at == 0 || start - at > plan.timescale / 1000)) {
        cut.plan.edits.push_back({start - at, -1});
        at = start;
      }
      const long double ticks = static_cast<long double>(edit.duration) * plan.timescale / cut.plan.timescale;
      const auto duration = std::max<std::uint64_t>(std::uint64_t(ticks + 0.5L), 1);
      cut.plan.edits.push_back({duration, edit.mediaTime});
      at += duration;
    }
    cut.plan.duration = at;
    plan.duration = std::max(plan.duration, at);
  }
  for (TrackCut& cut : cuts_) {
    if (cut.edits.empty()) {
      cut.plan.edits = {{plan.duration, -1}};
      cut.plan.duration = plan.duration;
    }
    plan.tracks.push_back(std::move(cut.plan));
  }
}

std::unique_ptr<CutPlan> CutPlanner::plan(CMTimeRange range, NSErrorPtr* error) {
  const auto fail = [error](NSErrorPtr reason) {
    if (error) *error = std::move(reason);
    return nullptr;
  };
  auto plan = std::make_unique<CutPlan>();
  if (NSErrorPtr reason = examine()) return fail(std::move(reason));
  for (const Track& track : movie_.tracks) timelines_.emplace_back(movie_, track);
  if (NSErrorPtr reason = limit(range, *plan)) return fail(std::move(reason));

  bool anything = false;
  for (std::size_t i = 0; i < movie_.tracks.size(); ++i) {
    TrackCut& cut = cuts_.emplace_back();
    cut.plan.timescale = movie_.tracks[i].timescale;
    if (isLeftOut(movie_.tracks[i])) continue;
    CutOutcome outcome = cutTrack(i, cut);
    if (outcome == CutOutcome::Done && samplesOf(cut.plan) > kMaximum32) outcome = CutOutcome::Overflow;
    switch (outcome) {
      case CutOutcome::Done:
        countTables(i);
        anything = anything || isPlayed(movie_.tracks[i]);
        break;
      case CutOutcome::Empty:
        cut = TrackCut();
        cut.plan.timescale = movie_.tracks[i].timescale;
        if (movie_.tracks[i].handler == fourCC("soun")) keepOnePacket(i, cut.plan);
        break;
      case CutOutcome::Overflow:
        return fail(failure(AVErrorExportFailed, "The times in “" + name_ + "” are too large for a trimmed copy."));
    }
  }
  if (!anything) {
    return fail(failure(AVErrorInvalidTimeRange, "“" + name_ + "” holds nothing in the selection."));
  }
  plan->timescale = chooseTimescale();
  for (std::size_t i = 0; i < cuts_.size(); ++i) {
    if (isVisual(movie_.tracks[i])) refine(cuts_[i], plan->timescale);
  }
  placeEdits(*plan);
  return plan;
}

}  // namespace

bool isLeftOut(const Track& track) {
  return track.handler == fourCC("hint");
}

std::unique_ptr<CutPlan> planCut(const Movie& movie, int descriptor, CMTimeRange range, const std::string& displayName,
                                 NSErrorPtr* error, const std::function<bool()>& isCancelled,
                                 const CutBudget::Limits& limits) {
  NSErrorPtr reason;
  try {
    CutBudget budget(limits, isCancelled);
    return CutPlanner(movie, descriptor, displayName, budget).plan(range, error);
  } catch (const CutRefused& refused) {
    reason = refused.cancelled ? NSError::posix(ECANCELED, "The trimmed copy was not planned")
                               : failure(AVErrorExportFailed,
                                         "“" + displayName + "” has more pictures or sound than can be trimmed.");
  }
  if (error) *error = std::move(reason);
  return nullptr;
}

}  // namespace isobmff
