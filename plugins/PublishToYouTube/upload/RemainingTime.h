#pragma once

#include <optional>

namespace publishing {

/// The time that remains, as a person can follow it: estimates go up and down with every moment, what is told changes
/// every few seconds at most, in steps, and goes up only when the estimate stays up. Times are seconds on any clock
/// that only goes forward.
class RemainingTime {
 public:
  /// What to tell at `time`, in seconds; nothing without an estimate.
  std::optional<double> tell(double time, std::optional<double> estimate);

 private:
  std::optional<double> calm_, told_;
  double calmAt_ = 0, toldAt_ = 0;
};

}  // namespace publishing
