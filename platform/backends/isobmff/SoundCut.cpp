#include "platform/backends/isobmff/TrackCut.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace isobmff {

namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMaximum31 = std::numeric_limits<std::int32_t>::max();
/// Packets that are looked at for what they lent; the smallest ones have a few bytes to lend.
constexpr std::uint32_t kMostLenders = 64;

/// By what the time scale has to be multiplied to name every single sample of the sound.
std::int64_t multiplierFor(std::uint32_t timescale, std::uint32_t rate) {
  if (rate <= timescale || timescale == 0) return 1;
  std::int64_t multiplier = rate % timescale == 0 ? rate / timescale : 1;
  while (timescale * multiplier < rate) multiplier *= 2;
  return timescale * multiplier <= kMaximum31 ? multiplier : 1;
}

/// The run in which the sample at a decode time lies, or the first.
std::size_t runAt(const std::vector<SampleRun>& runs, std::int64_t time) {
  const auto after = std::upper_bound(runs.begin(), runs.end(), time, [](std::int64_t moment, const SampleRun& run) {
    return moment < run.decodeTime;
  });
  return after == runs.begin() ? 0 : std::size_t(after - runs.begin()) - 1;
}

/// Takes `count` samples off the beginning of a run.
void dropFront(SampleRun& run, std::uint32_t count) {
  run.offset += std::uint64_t(count) * run.size;
  run.decodeTime += std::int64_t(count) * run.duration;
  run.index += count;
  run.count -= count;
}

/// A sample by its run and its position there.
struct Place {
  std::size_t run = 0;
  std::uint32_t position = 0;
};

class SoundCut {
 public:
  SoundCut(const Track& track, const SoundFormat& format, CutBudget& budget)
      : track_(track), format_(format), budget_(budget) {}

  CutOutcome run(const std::vector<MediaRange>& ranges, TrackCut& cut);

 private:
  Place placeAt(std::int64_t time) const;
  Place stepBack(Place place, std::uint64_t samples) const;
  Place packetFrom(std::int64_t time) const;
  Place stepBackBytes(Place place) const;
  Place prerollFor(Place place) const;
  static std::int64_t squeezeLead(TrackPlan& plan);
  void closePacket(std::uint32_t last, std::int64_t inPoint, TrackPlan& plan) const;
  std::int64_t timeOf(Place place) const {
    return track_.runs[place.run].decodeTime + std::int64_t(place.position) * track_.runs[place.run].duration;
  }

  const Track& track_;
  const SoundFormat& format_;
  CutBudget& budget_;
};

Place SoundCut::placeAt(std::int64_t time) const {
  Place place{runAt(track_.runs, time), 0};
  const SampleRun& run = track_.runs[place.run];
  if (run.duration > 0 && time > run.decodeTime) {
    place.position = std::uint32_t(std::min<std::int64_t>((time - run.decodeTime) / run.duration, run.count - 1));
  }
  return place;
}

Place SoundCut::stepBack(Place place, std::uint64_t samples) const {
  while (samples > place.position && place.run > 0) {
    samples -= place.position + 1;
    --place.run;
    place.position = track_.runs[place.run].count - 1;
  }
  place.position -= std::uint32_t(std::min<std::uint64_t>(samples, place.position));
  return place;
}

/// The packet at a time, or where only whole ones are heard the first one that begins then or later. Behind the last
/// packet of the track the run is none.
Place SoundCut::packetFrom(std::int64_t time) const {
  Place place = placeAt(time);
  if (!format_.wholePackets || timeOf(place) >= time) return place;
  if (++place.position == track_.runs[place.run].count) place = {place.run + 1, 0};
  return place;
}

/// Back over as many packets as hold what later ones may have borrowed.
Place SoundCut::stepBackBytes(Place place) const {
  std::uint64_t lent = 0;
  for (std::uint32_t packets = 0; packets < kMostLenders && lent < format_.lentBytes; ++packets) {
    if (place.run == 0 && place.position == 0) break;
    place = stepBack(place, 1);
    const std::uint32_t size = track_.runs[place.run].size;
    if (size > format_.packetOverhead) lent += size - format_.packetOverhead;
  }
  return place;
}

/// The sample with which decoding has to begin so that `place` sounds right.
Place SoundCut::prerollFor(Place place) const {
  Place start = stepBack(place, format_.prerollPackets);
  if (format_.lentBytes > 0) start = stepBackBytes(start);
  if (format_.prerollSeconds > 0) {
    const std::int64_t ticks = std::int64_t(std::ceil(format_.prerollSeconds * track_.timescale));
    const Place earlier = placeAt(timeOf(place) - ticks);
    if (earlier.run < start.run || (earlier.run == start.run && earlier.position < start.position)) start = earlier;
  }
  while (!track_.runs[start.run].sync && start.run > 0) {
    --start.run;
    start.position = track_.runs[start.run].count - 1;
  }
  if (!track_.runs[start.run].sync) start.position = 0;
  return start;
}

/// Makes the packets before the first one that is heard a tick long each: what counts them would otherwise take the cut
/// for as much longer as the sound begins late. Returns how many ticks that takes away.
std::int64_t SoundCut::squeezeLead(TrackPlan& plan) {
  std::int64_t removed = 0;
  std::vector<SampleRun> runs;
  for (SampleRun run : plan.runs) {
    if (run.index < *plan.firstShown) {
      SampleRun lead = run;
      lead.count = std::min(run.count, *plan.firstShown - run.index);
      lead.duration = std::min(run.duration, 1U);
      lead.decodeTime -= removed;
      dropFront(run, lead.count);
      removed += std::int64_t(lead.count) * (run.duration - lead.duration);
      runs.push_back(lead);
    }
    run.decodeTime -= removed;
    if (run.count > 0) runs.push_back(run);
  }
  plan.runs = std::move(runs);
  return removed;
}

/// libavformat takes the last packet to be as long as the cut, and drops it when it then ends before the in-point.
/// Where all that is heard lies in one packet, the one after it goes along, a tick behind the out-point. Behind the
/// track's last packet that is the last one itself once more.
void SoundCut::closePacket(std::uint32_t last, std::int64_t inPoint, TrackPlan& plan) const {
  const SampleRun& only = plan.runs.back();
  const std::int64_t begin = only.decodeTime + std::int64_t(only.count - 1) * only.duration;
  if (plan.firstShown != last || plan.mediaDuration - inPoint > inPoint - begin) return;
  SampleRun next = only;
  dropFront(next, only.count - 1);
  const auto after =
      std::upper_bound(track_.runs.begin(), track_.runs.end(), last + 1,
                       [](std::uint32_t index, const SampleRun& candidate) { return index < candidate.index; });
  if (after != track_.runs.begin() && last + 1 - (after - 1)->index < (after - 1)->count) {
    next = *(after - 1);
    dropFront(next, last + 1 - next.index);
  }
  next.index = last + 1;
  next.count = 1;
  next.decodeTime = plan.mediaDuration;
  next.duration = 1;
  next.compositionOffset = only.compositionOffset;
  plan.runs.push_back(next);
  plan.mediaDuration += 1;
}

CutOutcome SoundCut::run(const std::vector<MediaRange>& ranges, TrackCut& cut) {
  const std::int64_t multiplier = multiplierFor(track_.timescale, format_.rate);
  const double scale = double(track_.timescale) * double(multiplier);
  double from = ranges.front().from, to = ranges.front().to;
  for (const MediaRange& range : ranges) from = std::min(from, range.from), to = std::max(to, range.to);
  const SampleRun& latest = track_.runs.back();
  if (latest.decodeTime + std::int64_t(latest.count) * latest.duration > (std::int64_t(1) << 60) / multiplier) {
    return CutOutcome::Overflow;
  }
  const std::int64_t outPoint = std::llround(to * scale);
  std::int64_t inPoint = std::llround(from * scale);
  if (outPoint <= inPoint) return CutOutcome::Empty;

  // Sound that is presented later than it is decoded (rare) is looked for by the latter.
  const std::int64_t delay = track_.runs.front().compositionOffset * multiplier;
  const auto beginAt = [&](std::int64_t time) {  // when something is heard that is to be heard from `time` on
    if (!format_.wholePackets) return time;
    const Place place = packetFrom((time - delay + multiplier - 1) / multiplier);
    return place.run < track_.runs.size() ? std::max(time, timeOf(place) * multiplier + delay) : kNever;
  };
  inPoint = beginAt(inPoint);
  if (outPoint <= inPoint) return CutOutcome::Empty;
  const Place first = placeAt((inPoint - delay) / multiplier), start = prerollFor(first);
  std::int64_t zero = timeOf(start) * multiplier;

  TrackPlan& plan = cut.plan;
  plan.timescale = std::uint32_t(scale);
  plan.firstShown = track_.runs[first.run].index + first.position;
  const std::size_t end = runAt(track_.runs, (outPoint - delay - 1) / multiplier) + 1;
  budget_.step(end - start.run);
  budget_.keepSamples(end - start.run);
  plan.runs.reserve(end - start.run);
  for (std::size_t i = start.run; i < end; ++i) {
    SampleRun run = track_.runs[i];
    if (i == start.run) dropFront(run, start.position);
    // Only what begins before the out-point.
    const std::int64_t ticks = outPoint - delay - run.decodeTime * multiplier;
    if (i > first.run && ticks <= 0) break;
    const std::int64_t step = run.duration * multiplier;
    if (i + 1 == end && step > 0) {
      run.count = std::uint32_t(std::clamp<std::int64_t>((ticks + step - 1) / step, 1, run.count));
    }
    if (step > kMaximum31 || std::abs(run.compositionOffset * multiplier) > kMaximum31) return CutOutcome::Overflow;
    run.decodeTime = run.decodeTime * multiplier - zero;
    run.duration = std::uint32_t(step);
    run.compositionOffset = std::int32_t(run.compositionOffset * multiplier);
    plan.runs.push_back(run);
  }
  plan.lastShown = plan.runs.back().index + plan.runs.back().count - 1;
  if (format_.wholePackets) zero += squeezeLead(plan);

  // The last packet ends with the cut.
  SampleRun& last = plan.runs.back();
  const std::int64_t lastTime = last.decodeTime + std::int64_t(last.count - 1) * last.duration;
  const std::int64_t lastDuration =
      std::clamp<std::int64_t>(outPoint - delay - zero - lastTime, 1, std::max<std::int64_t>(last.duration, 1));
  plan.mediaDuration = lastTime + lastDuration;
  if (lastDuration < last.duration) {
    if (last.count > 1) {
      SampleRun alone = last;
      dropFront(alone, last.count - 1);
      --last.count;
      alone.duration = std::uint32_t(lastDuration);
      plan.runs.push_back(alone);
    } else {
      last.duration = std::uint32_t(lastDuration);
    }
  }
  closePacket(*plan.lastShown, inPoint - zero, plan);
  for (const MediaRange& range : ranges) {
    const std::int64_t wanted = std::llround(range.from * scale), finish = std::llround(range.to * scale);
    const std::int64_t begin = beginAt(wanted);
    const double showAt = range.showAt + double(begin - wanted) / scale;
    if (finish > begin) cut.edits.push_back({showAt, begin - zero, finish - begin});
  }
  return cut.edits.empty() ? CutOutcome::Empty : CutOutcome::Done;
}

}  // namespace

CutOutcome cutSound(const Track& track, const std::vector<MediaRange>& ranges, const SoundFormat& format,
                    CutBudget& budget, TrackCut& cut) {
  if (ranges.empty() || track.runs.empty()) return CutOutcome::Empty;
  return SoundCut(track, format, budget).run(ranges, cut);
}

}  // namespace isobmff
