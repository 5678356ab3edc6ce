#pragma once

#include <cstdint>
#include <deque>
#include <optional>

namespace publishing {

/// The speed of the last ten seconds, for the time that remains. Times are seconds on any clock that only goes forward.
class TransferRate {
 public:
  /// So many bytes of the file are through at that time. Going back starts anew.
  void add(double time, std::int64_t bytes);
  /// Nothing moved for a while, and that is not to count.
  void reset() { samples_.clear(); }
  /// Bytes in a second; nothing before four seconds have been seen. The first second does not count: what it moves goes
  /// into the system's buffers.
  std::optional<double> bytesPerSecond() const;
  std::optional<double> secondsRemaining(std::int64_t total) const;

 private:
  struct Sample {
    double time;
    std::int64_t bytes;
  };
  std::deque<Sample> samples_;
  double began_ = 0;
};

}  // namespace publishing
