#pragma once

#include "movie_tool/MovieReport.h"
#include "platform/backends/isobmff/Movie.h"

/// All but the file's name and size, from the boxes of an MP4 or QuickTime file.
std::unique_ptr<MovieReport> reportOfBoxes(const isobmff::Movie& movie);
