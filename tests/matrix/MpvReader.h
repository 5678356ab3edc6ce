#pragma once

#include "tests/matrix/Reading.h"

#include <string>
#include <utility>
#include <vector>

namespace matrix {

/// Plays a file to its end with mpv, untimed, its output recorded in `scratch` (a path to write to and remove again),
/// and reads that back: every picture that mpv showed and every sample that it sounded, in its own times. `options`
/// are options of mpv, names and values.
Reading readWithMpv(const std::string& path, const std::vector<std::pair<std::string, std::string>>& options,
                    const std::string& scratch);

/// The container's time that mpv, with our player's options for reading a file, shows as zero. Throws
/// std::runtime_error when it can't open the file.
double zeroInMpv(const std::string& path);

}  // namespace matrix
