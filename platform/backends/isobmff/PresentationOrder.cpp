#include "platform/backends/isobmff/PresentationOrder.h"

#include <algorithm>

namespace isobmff {

namespace {

constexpr std::uint64_t kMostLooks = 50'000'000;

}  // namespace

PresentationOrder::PresentationOrder(const std::vector<SampleRun>& runs) : runs_(runs) {
  for (const SampleRun& run : runs) {
    leastOffset_ = std::min<std::int64_t>(leastOffset_, run.compositionOffset);
    greatestOffset_ = std::max<std::int64_t>(greatestOffset_, run.compositionOffset);
    longest_ = std::max(longest_, std::int64_t(run.count - 1) * run.duration);
  }
}

std::optional<PresentationOrder::Shown> PresentationOrder::between(std::int64_t from, std::int64_t to) const {
  const auto decodedFrom = [this](std::int64_t time) {
    return std::partition_point(runs_.begin(), runs_.end(),
                                [time](const SampleRun& run) { return run.decodeTime < time; });
  };
  const auto first = decodedFrom(from - greatestOffset_ - longest_), end = decodedFrom(to - leastOffset_);
  if (first >= end) return std::nullopt;
  std::optional<Shown> shown;
  const auto look = [&](const SampleRun& run) {
    ++looks_;
    // The samples of the run that lie in between, by number.
    std::int64_t begin = 0, last = std::int64_t(run.count) - 1;
    const std::int64_t time = run.presentationTime();
    if (run.duration > 0) {
      if (time < from) begin = (from - time + run.duration - 1) / run.duration;
      if (time + last * run.duration >= to) last = to > time ? (to - time - 1) / run.duration : -1;
    } else if (time < from || time >= to) {
      return;
    }
    if (begin > last) return;
    if (!shown) shown = Shown{time + begin * run.duration, time, run.decodeTime + begin * run.duration};
    shown->earliest = std::min(shown->earliest, time + begin * run.duration);
    shown->latest = std::max(shown->latest, time + last * run.duration);
  };
  // From both ends, each until nothing can change any more.
  auto run = first;
  for (; run != end && looks_ < kMostLooks; ++run) {
    if (shown && run->decodeTime + leastOffset_ > shown->earliest) break;
    look(*run);
  }
  for (auto back = end; back != run && looks_ < kMostLooks;) {
    --back;
    if (shown && back->decodeTime + longest_ + greatestOffset_ < shown->latest) break;
    look(*back);
  }
  return looks_ < kMostLooks ? shown : std::nullopt;
}

}  // namespace isobmff
