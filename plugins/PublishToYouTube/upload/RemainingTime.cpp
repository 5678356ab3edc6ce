#include "plugins/PublishToYouTube/upload/RemainingTime.h"

#include <algorithm>
#include <cmath>

namespace publishing {

namespace {

constexpr double inertia = 5, pause = 2;  // seconds
constexpr double minute = 60, shortStep = 5;

double stepAt(double seconds) {
  return seconds < minute ? shortStep : minute;
}

}  // namespace

std::optional<double> RemainingTime::tell(double time, std::optional<double> estimate) {
  if (!estimate) {
    calm_.reset();
    told_.reset();
    return std::nullopt;
  }
  if (calm_) {
    const double passed = std::max(time - calmAt_, 0.0), expected = std::max(*calm_ - passed, 0.0);
    calm_ = expected + (*estimate - expected) * (1 - std::exp(-passed / inertia));
  } else {
    calm_ = std::max(*estimate, 0.0);
  }
  calmAt_ = time;
  const double step = stepAt(*calm_), next = std::max(std::ceil(*calm_ / step), 1.0) * step;
  const bool isLonger = told_ && next > *told_;
  const bool staysLonger = isLonger && *calm_ > *told_ + stepAt(*told_) / 2;
  if (!told_ || (time - toldAt_ >= pause && (isLonger ? staysLonger : next < *told_))) {
    told_ = next;
    toldAt_ = time;
  }
  return told_;
}

}  // namespace publishing
