#include "tests/matrix/SoundMatch.h"

#include <algorithm>
#include <cmath>

matrix::SoundMatch matrix::matchSound(const Sound& source, const Sound& copy, double offset, double length,
                                      double reach, double skip) {
  if (!source.rate || source.rate != copy.rate) {
    return {0, 0, 0, "expected " + std::to_string(source.rate) + " Hz, heard " + std::to_string(copy.rate) + " Hz"};
  }
  const int rate = source.rate, width = int(reach * rate);
  // Sample `i` of the copy lies on sample `first + i` of the source.
  const long first = std::lround((offset + copy.start - source.start) * rate);
  const long from = std::max<long>({0, -first + width, std::lround((skip - copy.start) * rate)});
  const long to = std::min<long>({long(copy.samples.size()), long(source.samples.size()) - first - width,
                                  std::lround((length - copy.start) * rate)});
  if (to - from < 200) {
    return {0, 0, 0, "only " + std::to_string(std::max(0L, to - from)) + " samples to compare"};
  }
  const long step = std::max<long>(1, (to - from) / 4000);
  const auto errorAt = [&](int lag, long stride) {
    double sum = 0, power = 1e-9;
    for (long i = from; i < to; i += stride) {
      const double value = source.samples[std::size_t(first + i - lag)];
      const double difference = copy.samples[std::size_t(i)] - value;
      sum += difference * difference;
      power += value * value;
    }
    return sum / power;
  };
  // A look at few samples finds the neighbourhood, one at many the place.
  const auto search = [&](int around, int reachEachWay, long stride) {
    SoundMatch best{around, errorAt(around, stride), 0, ""};
    for (int lag = std::max(-width, around - reachEachWay); lag <= std::min(width, around + reachEachWay); ++lag) {
      const double error = errorAt(lag, stride);
      if (error < best.error - 1e-6) best = {lag, error, 0, ""};
    }
    return best;
  };
  const SoundMatch rough = search(0, width, step * 7);
  const SoundMatch near = search(rough.lag, 8, step), still = search(0, 8, step);
  SoundMatch match = near.error < still.error - 1e-6 ? near : still;
  // Against the power of all: the beginning may be silent.
  double power = 1e-9, sum = 0;
  for (long i = from; i < to; i += step) power += std::pow(source.samples[std::size_t(first + i)], 2);
  power *= double(step) / double(to - from);
  const long begin = std::max({0L, match.lag - first, std::lround((skip - copy.start) * rate)});
  const long end = std::min(begin + rate / 50, to);
  for (long i = begin; i < end; ++i) {
    sum += std::pow(copy.samples[std::size_t(i)] - source.samples[std::size_t(first + i - match.lag)], 2);
  }
  match.firstError = end > begin ? sum / double(end - begin) / power : 0;
  return match;
}
