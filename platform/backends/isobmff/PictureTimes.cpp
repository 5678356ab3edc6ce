#include "platform/backends/isobmff/PictureTimes.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace isobmff {

namespace {

constexpr std::int64_t kMaximum32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t kMaximum31 = std::numeric_limits<std::int32_t>::max();
/// Fine enough to keep sound and picture together to a twentieth of a millisecond.
constexpr std::int64_t kFineScale = 10'000;

/// The usual time from one picture to the next, in ticks.
std::int64_t usualLength(const std::vector<SampleRun>& samples) {
  std::vector<std::uint32_t> durations;
  const std::size_t step = samples.size() / 4096 + 1;
  for (std::size_t i = 0; i < samples.size(); i += step) {
    if (samples[i].duration > 0) durations.push_back(samples[i].duration);
  }
  if (durations.empty()) return 1;
  const auto middle = durations.begin() + std::ptrdiff_t(durations.size() / 2);
  std::nth_element(durations.begin(), middle, durations.end());
  return *middle;
}

/// By how much decoding has to begin earlier so that no picture is presented before it is decoded.
std::int64_t decodingLead(const std::vector<SampleRun>& samples) {
  std::int64_t lead = 0;
  for (const SampleRun& sample : samples) lead = std::max<std::int64_t>(lead, -std::int64_t(sample.compositionOffset));
  return lead;
}

}  // namespace

void PictureTimes::chooseScale(const std::vector<SampleRun>& samples, std::uint32_t timescale, std::size_t headTicks,
                               std::int64_t pictureLength) {
  std::int64_t longest = 1, latest = 1;
  for (const SampleRun& sample : samples) {
    longest = std::max({longest, std::int64_t(sample.duration), std::abs(std::int64_t(sample.compositionOffset))});
    latest = std::max({latest, std::abs(sample.decodeTime), std::abs(sample.presentationTime())});
  }
  const auto fits = [&](std::int64_t multiplier) {
    return timescale * multiplier <= kMaximum31 && longest * multiplier <= kMaximum31 &&
           latest <= (std::int64_t(1) << 61) / multiplier;
  };
  const auto enough = [&](std::int64_t multiplier) {
    return timescale * multiplier >= kFineScale && 2 * std::int64_t(headTicks) <= pictureLength * multiplier;
  };
  multiplier_ = 1;
  while (!enough(multiplier_) && fits(multiplier_ * 2)) multiplier_ *= 2;
  timescale_ = std::uint32_t(timescale * multiplier_);
}

std::int64_t PictureTimes::newTime(double seconds) const {
  return inPoint_ + (std::llround(seconds * timescale_) - oldInPoint_);
}

bool PictureTimes::assign(std::vector<SampleRun>& samples, std::uint32_t timescale, const Cut& cut) {
  if (samples.empty()) return false;
  const std::int64_t lead = decodingLead(samples);
  const std::int64_t firstShown = cut.firstShown;
  const double hiddenFrom = (cut.outPoint - kTolerance) * timescale;

  // The moments before the first picture shown, each of which becomes a tick.
  std::vector<std::int64_t> head;
  bool anyHidden = false;
  for (const SampleRun& sample : samples) {
    const std::int64_t decoded = sample.decodeTime - lead, presented = sample.presentationTime();
    if (decoded < firstShown) head.push_back(decoded);
    if (presented < firstShown) head.push_back(presented), anyHidden = true;
  }
  std::sort(head.begin(), head.end());
  head.erase(std::unique(head.begin(), head.end()), head.end());
  const auto rank = [&](std::int64_t time) { return std::lower_bound(head.begin(), head.end(), time) - head.begin(); };

  const std::int64_t pictureLength = usualLength(samples);
  chooseScale(samples, timescale, head.size(), pictureLength);
  oldInPoint_ = std::llround(cut.inPoint * timescale_);
  // Whole milliseconds may have rounded the length down, and a gap too short shows what is hidden.
  const std::int64_t length = pictureLength * multiplier_;
  inPoint_ = std::int64_t(head.size()) + (anyHidden && cut.gap ? length + length / 16 : 0);
  std::int64_t outPoint = std::max(newTime(cut.outPoint), inPoint_ + 1);

  std::vector<std::int64_t> presented(samples.size());
  std::vector<std::size_t> tail;
  std::int64_t before = -1;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const std::int64_t decodeTime = samples[i].decodeTime - lead, time = samples[i].presentationTime();
    if (time < firstShown) {
      presented[i] = rank(time);
    } else if ((double(time) >= hiddenFrom || time >= cut.end) && time > firstShown) {
      presented[i] = time;
      tail.push_back(i);
    } else {
      presented[i] =
          time == firstShown ? inPoint_ : std::max(inPoint_ + time * multiplier_ - oldInPoint_, inPoint_ + 1);
    }
    std::int64_t decoded = decodeTime < firstShown
                               ? rank(decodeTime)
                               : std::max(inPoint_ + decodeTime * multiplier_ - oldInPoint_, inPoint_);
    decoded = std::max(decoded, before + 1);
    samples[i].decodeTime = before = decoded;
  }
  std::stable_sort(tail.begin(), tail.end(), [&](std::size_t a, std::size_t b) { return presented[a] < presented[b]; });
  for (std::size_t k = 0; k < tail.size(); ++k) presented[tail[k]] = outPoint + std::int64_t(k);

  // From the end: nothing is decoded after it is presented, nor after what follows it.
  std::int64_t latest = std::numeric_limits<std::int64_t>::max();
  for (std::size_t i = samples.size(); i-- > 0;) {
    latest = std::min(presented[i], latest - 1);
    samples[i].decodeTime = std::min(samples[i].decodeTime, latest);
  }

  const std::int64_t first = samples.front().decodeTime;
  inPoint_ -= first;
  outPoint -= first;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const std::int64_t offset = presented[i] - samples[i].decodeTime;
    samples[i].decodeTime -= first;
    if (offset > kMaximum31) return false;
    samples[i].compositionOffset = std::int32_t(offset);
    if (i == 0) continue;
    const std::int64_t duration = samples[i].decodeTime - samples[i - 1].decodeTime;
    if (duration > kMaximum32) return false;
    samples[i - 1].duration = std::uint32_t(duration);
  }
  const std::int64_t end = outPoint + std::int64_t(tail.size());
  const std::int64_t lastDuration = std::clamp<std::int64_t>(end - samples.back().decodeTime, 1, kMaximum32);
  samples.back().duration = std::uint32_t(lastDuration);
  mediaDuration_ = samples.back().decodeTime + lastDuration;
  return true;
}

}  // namespace isobmff
