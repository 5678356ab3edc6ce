#pragma once

#include "platform/CoreMedia/CMTime.h"

#include <optional>
#include <string>

/// Times as people write them.
namespace movie_time {

/// Reads seconds (“90”, “12.5”), minutes and seconds (“1:30”) or hours, minutes and seconds (“1:02:03.250”); nothing
/// when the text is none of these. Exact to the nanosecond, further digits are dropped.
std::optional<CMTime> parse(const std::string& text);

/// Seconds as 1:02.500, or as 1:01:02.500 from an hour on; negative ones as 0.
std::string clock(double seconds);

}  // namespace movie_time
