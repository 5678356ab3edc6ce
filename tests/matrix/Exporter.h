#pragma once

#include "tests/matrix/Truth.h"

#include <string>

namespace matrix {

/// Copies a range with the export session that the editor uses. Empty when done, else what went wrong. On the main
/// queue's thread.
std::string exportRange(const std::string& source, const std::string& output, const Range& range);

}  // namespace matrix
