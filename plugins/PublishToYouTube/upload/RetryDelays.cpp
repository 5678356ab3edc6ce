#include "plugins/PublishToYouTube/upload/RetryDelays.h"

#include <QtCore/QRandomGenerator>

#include <algorithm>
#include <cmath>

namespace publishing {

std::optional<double> RetryDelays::next(std::optional<double> asked) {
  if (tried_ >= times_.tries) return std::nullopt;
  const double longest = std::min(times_.most, times_.first * std::pow(2.0, std::min(tried_++, 60)));
  const double delay = longest * (1 - QRandomGenerator::global()->generateDouble() / 2);
  return asked ? std::max(delay, std::clamp(*asked, 0.0, times_.longestAsked)) : delay;
}

}  // namespace publishing
