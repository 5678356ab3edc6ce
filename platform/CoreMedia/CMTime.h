#pragma once

#include <cstdint>

/// A time as a whole number of ticks: value / timescale seconds. A timescale of 0 means "no time" (invalid).
struct CMTime {
  std::int64_t value = 0;
  std::int32_t timescale = 0;

  bool isValid() const { return timescale > 0; }
};

struct CMTimeRange {
  CMTime start;
  CMTime duration;
};

inline constexpr CMTime kCMTimeZero{0, 1};
inline constexpr CMTime kCMTimeInvalid{0, 0};

/// The time nearest to `seconds` in ticks of 1/`timescale`; invalid when `timescale` is not positive, `seconds` is not
/// a number or the value does not fit.
CMTime CMTimeMakeWithSeconds(double seconds, std::int32_t timescale);
/// Not a number for an invalid time.
double CMTimeGetSeconds(CMTime time);
/// a − b in the finer of the two scales; invalid when either is.
CMTime CMTimeSubtract(CMTime a, CMTime b);
/// Negative, zero or positive as a is before, at or after b; exact. Both must be valid.
int CMTimeCompare(CMTime a, CMTime b);
CMTimeRange CMTimeRangeMake(CMTime start, CMTime duration);
