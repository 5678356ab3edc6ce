#pragma once

#include "tests/matrix/Reading.h"

#include <string>

namespace matrix {

/// Why GStreamer can't be asked (not there when this was built, or without a decoder's plug-in); empty when it can.
std::string whyNoGStreamer();

/// Plays a file to its end with GStreamer, untimed: every picture and every sample that would reach screen and
/// speakers, in running time.
Reading readWithGStreamer(const std::string& path);

}  // namespace matrix
