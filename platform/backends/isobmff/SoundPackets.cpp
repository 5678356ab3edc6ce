#include "platform/backends/isobmff/SoundPackets.h"

#include <algorithm>

namespace isobmff {

namespace {

constexpr std::int64_t kBlock = 1024;
/// Samples that last so many moments or more are packets of their own.
constexpr std::int64_t kWhole = 160;

std::int64_t packetLength(const SampleRun& run) {
  const std::int64_t duration = std::max<std::int64_t>(run.duration, 1);
  return run.count > 1 && duration < kWhole && kBlock % duration == 0 ? kBlock : duration;
}

}  // namespace

std::optional<SoundPackets::Packet> SoundPackets::at(std::int64_t time) const {
  time -= delay_;
  const auto after = std::upper_bound(runs_.begin(), runs_.end(), time, [](std::int64_t moment, const SampleRun& run) {
    return moment < run.decodeTime;
  });
  if (after == runs_.begin()) return std::nullopt;
  const SampleRun& run = *std::prev(after);
  const std::int64_t end = run.decodeTime + std::int64_t(run.count) * run.duration;
  if (time >= end) return std::nullopt;
  const std::int64_t length = packetLength(run);
  const std::int64_t begin = run.decodeTime + (time - run.decodeTime) / length * length;
  return Packet{begin + delay_, std::min(begin + length, end) + delay_};
}

std::optional<SoundPackets::Packet> SoundPackets::from(std::int64_t time) const {
  if (runs_.empty()) return std::nullopt;
  time = std::max(time, runs_.front().decodeTime + delay_);
  const auto begun = at(time);
  return !begun || begun->begin >= time ? begun : at(begun->end);
}

}  // namespace isobmff
