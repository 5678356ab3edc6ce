#pragma once

#include "movie_tool/MovieReport.h"

#include <algorithm>
#include <cstdint>

/// Counts key samples and the time between them. Times are in ticks, and samples come in decode order.
class KeySpacing {
 public:
  /// `count` samples of the same length that follow each other.
  void add(std::int64_t time, std::int64_t duration, bool key, std::uint32_t count = 1) {
    const std::int64_t last = time + duration * (std::int64_t(count) - 1);
    first_ = std::min(first_, time);
    end_ = std::max(end_, last + duration);
    samples_ += count;
    if (!key) return;
    if (keys_ > 0) longest_ = std::max(longest_, time - lastKey_);
    if (count > 1) longest_ = std::max(longest_, duration);
    lastKey_ = last;
    keys_ += count;
  }
  /// With the length of one tick in seconds.
  void report(double tick, TrackReport& track) const {
    if (keys_ == 0) return;
    track.keySamples = keys_;
    if (keys_ == samples_) return;
    track.keySpacing = double(end_ - first_) * tick / double(keys_);
    track.longestKeySpacing = double(std::max(longest_, end_ - lastKey_)) * tick;
  }

 private:
  std::int64_t first_ = INT64_MAX, end_ = INT64_MIN, lastKey_ = 0, longest_ = 0;
  std::uint64_t keys_ = 0, samples_ = 0;
};
