#include "platform/backends/isobmff/SampleRunBuilder.h"

#include <algorithm>
#include <limits>

namespace isobmff {

namespace {

constexpr std::uint64_t kMaximum32 = std::numeric_limits<std::uint32_t>::max();

bool continues(const SampleRun& last, const SampleRun& next) {
  return last.offset + std::uint64_t(last.count) * last.size == next.offset && last.size == next.size &&
         last.duration == next.duration && last.compositionOffset == next.compositionOffset && last.sync == next.sync &&
         last.partialSync == next.partialSync && last.description == next.description &&
         kMaximum32 - last.count >= next.count;
}

}  // namespace

void SampleRunBuilder::append(SampleRun run) {
  if (cutOff_ || run.count == 0) return;
  const std::uint64_t bytes = std::uint64_t(run.count) * run.size;
  if (run.offset > limits_.fileSize || bytes > limits_.fileSize - run.offset) {
    // Media in another file can't be checked against this one.
    if (track_.selfContained) {
      cutOff_ = true;
      if (run.offset >= limits_.fileSize) return;
      run.count = std::uint32_t((limits_.fileSize - run.offset) / run.size);
      if (run.count == 0) return;
    } else if (run.offset > std::numeric_limits<std::uint64_t>::max() / 2) {
      failDamaged("chunk offsets");
    }
  }

  std::int64_t ticks, newEnd;
  if (__builtin_mul_overflow(std::int64_t(run.count), std::int64_t(run.duration), &ticks) ||
      __builtin_add_overflow(end_, ticks, &newEnd) || newEnd > maximumTime)
    failDamaged("times");
  // Nobody counts sample 2^32.
  if (track_.sampleCount + run.count > kMaximum32) failDamaged("number of samples");
  if (run.size == 0) ReadLimits::take(limits_.emptySamplesLeft, run.count, "number of samples");
  run.decodeTime = end_;
  run.index = std::uint32_t(track_.sampleCount);
  end_ = newEnd;
  track_.sampleCount += run.count;

  if (!track_.runs.empty() && continues(track_.runs.back(), run)) {
    track_.runs.back().count += run.count;
    return;
  }
  limits_.takeRuns(1);
  track_.runs.push_back(run);
}

void SampleRunBuilder::setLastDuration(std::int64_t duration) {
  if (duration > std::int64_t(kMaximum32)) failDamaged("a gap in the times");
  SampleRun* last = &track_.runs.back();
  if (last->count > 1) {
    limits_.takeRuns(1);
    SampleRun alone = *last;
    const std::uint32_t before = --last->count;
    alone.count = 1;
    alone.index += before;
    alone.offset += std::uint64_t(before) * alone.size;
    alone.decodeTime += std::int64_t(before) * alone.duration;
    track_.runs.push_back(alone);
    last = &track_.runs.back();
  }
  last->duration = std::uint32_t(duration);
  end_ = last->decodeTime + duration;
}

void SampleRunBuilder::continueAt(std::int64_t time) {
  if (cutOff_ || time == end_) return;
  if (time < 0 || time > maximumTime) failDamaged("times");
  if (track_.runs.empty()) {
    end_ = time;
    return;
  }
  const SampleRun& last = track_.runs.back();
  const std::int64_t lastStart = end_ - last.duration;
  if (time > lastStart) setLastDuration(time - lastStart);
}

}  // namespace isobmff
