#include "tests/matrix/SoundMatch.h"

#include <algorithm>
#include <cmath>

std::optional<matrix::SoundMatch> matrix::matchSound(const Sound& source, const Sound& copy, double offset,
                                                     double length, double reach, double skip) {
  if (!source.rate || source.rate != copy.rate) return std::nullopt;
  const int rate = source.rate, width = int(reach * rate);
  // Sample `i` of the copy lies on sample `first + i` of the source.
  const long first = std::lround((offset + copy.start - source.start) * rate);
  const long from = std::max<long>({0, -first + width, std::lround((skip - copy.start) * rate)});
  const long to = std::min<long>({long(copy.samples.size()), long(source.samples.size()) - first - width,
                                  std::lround((length - copy.start) * rate)});
  if (to - from < 200) return std::nullopt;
  const long step = std::max<long>(1, (to - from) / 4000);
  double power = 0;
  for (long i = from; i < to; i += step) {
    const double value = source.samples[std::size_t(first + i)];
    power += value * value;
  }
  if (power <= 0) return std::nullopt;
  const auto errorAt = [&](int lag) {
    double sum = 0;
    for (long i = from; i < to; i += step) {
      const double difference = copy.samples[std::size_t(i)] - source.samples[std::size_t(first + i - lag)];
      sum += difference * difference;
    }
    return sum / power;
  };
  SoundMatch best{0, errorAt(0)};
  for (int lag = -width; lag <= width; ++lag) {
    const double error = errorAt(lag);
    if (error < best.error - 1e-6) best = {lag, error};
  }
  return best;
}
