#pragma once

#include <cstdint>
#include <map>

/// Corrects the lengths that an MP4 file states, once it is written whole: the movie is `movieDuration` long, and the
/// track with an identifier in `segmentDurations` shows that much of its media (the last entry of its edit list); both
/// in ticks of the movie's time scale. Returns 0 or an errno value (EINVAL: the file is not as expected).
int setMovieDurations(int descriptor, std::uint64_t movieDuration,
                      const std::map<std::uint32_t, std::uint64_t>& segmentDurations);
