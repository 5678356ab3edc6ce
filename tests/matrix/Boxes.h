#pragma once

#include <string>
#include <vector>

namespace matrix {

/// Compares what describes a movie and its tracks in two MP4 or MOV files: every box of the index must be there byte
/// for byte and in the same order, but for durations, time scales and what says where the samples are and when.
std::vector<std::string> compareBoxes(const std::string& source, const std::string& copy);

}  // namespace matrix
