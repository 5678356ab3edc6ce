#pragma once

#include <cstdint>
#include <functional>

/// Brings the content of a file that was just written to the disk, piece by piece, so that a long wait can be shown and
/// ended. `proceed` is called between pieces with the bytes done and their whole number; false ends it with ECANCELED.
/// Returns 0 or an errno value. Not a substitute for fsync, but leaves little for it to do.
int flushFile(int descriptor, const std::function<bool(std::int64_t done, std::int64_t total)>& proceed);
