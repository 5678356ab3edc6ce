#include "plugins/PublishToYouTube/upload/TransferRate.h"

namespace publishing {

namespace {

constexpr double window = 10, least = 3, filling = 1;  // seconds

}  // namespace

void TransferRate::add(double time, std::int64_t bytes) {
  if (!samples_.empty() && bytes < samples_.back().bytes) samples_.clear();
  if (samples_.empty()) began_ = time;
  if (time - began_ <= filling) samples_.clear();
  samples_.push_back({time, bytes});
  while (samples_.size() > 2 && time - samples_[1].time >= window) samples_.pop_front();
}

std::optional<double> TransferRate::bytesPerSecond() const {
  if (samples_.empty()) return std::nullopt;
  const double seconds = samples_.back().time - samples_.front().time;
  const std::int64_t bytes = samples_.back().bytes - samples_.front().bytes;
  if (seconds < least || bytes <= 0) return std::nullopt;
  return double(bytes) / seconds;
}

std::optional<double> TransferRate::secondsRemaining(std::int64_t total) const {
  const auto rate = bytesPerSecond();
  if (!rate) return std::nullopt;
  return double(total - samples_.back().bytes) / *rate;
}

}  // namespace publishing
