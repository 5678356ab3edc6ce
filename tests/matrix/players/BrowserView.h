#pragma once

#include "tests/matrix/Judge.h"

#include <string>
#include <vector>

namespace matrix {

/// Where a browser is asked to look, in seconds: into the first picture, one in the middle, and the last one.
std::vector<double> browserMoments(const Truth& truth, const Range& range);

/// What it showed before any seek and at each of those moments must be there and be right, and so must the length. With
/// `source`, what it showed of the source at the same moments, a picture may be that one as well.
Verdict judgeBrowser(const Truth& truth, const Range& range, const std::vector<double>& moments, const Reading& reading,
                     const Exactness& exactness, const Reading* source = nullptr);

/// Why a browser can't play a file: its own words, or that it shows no picture; empty when it can.
std::string whyRefused(const Reading& reading);

}  // namespace matrix
