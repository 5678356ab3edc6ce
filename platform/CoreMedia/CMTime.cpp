#include "platform/CoreMedia/CMTime.h"

#include <cmath>
#include <limits>

CMTime CMTimeMakeWithSeconds(double seconds, std::int32_t timescale) {
  if (timescale <= 0 || std::isnan(seconds)) return kCMTimeInvalid;
  const double ticks = std::nearbyint(seconds * timescale);
  // 2^63 as a double is exact; anything at or beyond it does not fit.
  if (ticks >= 9223372036854775808.0 || ticks < -9223372036854775808.0) return kCMTimeInvalid;
  return {static_cast<std::int64_t>(ticks), timescale};
}

double CMTimeGetSeconds(CMTime time) {
  if (!time.isValid()) return std::numeric_limits<double>::quiet_NaN();
  return static_cast<double>(time.value) / time.timescale;
}

CMTime CMTimeSubtract(CMTime a, CMTime b) {
  if (!a.isValid() || !b.isValid()) return kCMTimeInvalid;
  if (a.timescale == b.timescale) {
    std::int64_t difference = 0;
    if (__builtin_sub_overflow(a.value, b.value, &difference)) return kCMTimeInvalid;
    return {difference, a.timescale};
  }
  const std::int32_t scale = a.timescale > b.timescale ? a.timescale : b.timescale;
  return CMTimeMakeWithSeconds(CMTimeGetSeconds(a) - CMTimeGetSeconds(b), scale);
}

int CMTimeCompare(CMTime a, CMTime b) {
  __extension__ using Wide = __int128;
  const Wide left = static_cast<Wide>(a.value) * b.timescale;
  const Wide right = static_cast<Wide>(b.value) * a.timescale;
  return left < right ? -1 : left > right ? 1 : 0;
}

CMTimeRange CMTimeRangeMake(CMTime start, CMTime duration) {
  return {start, duration};
}
