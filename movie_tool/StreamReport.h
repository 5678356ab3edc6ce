#pragma once

#include "movie_tool/MovieReport.h"

/// All but the file's name and size, as libavformat sees the file: reads it to its end. Null and `error` when it is no
/// movie.
std::unique_ptr<MovieReport> reportOfStreams(const std::string& path, const std::string& displayName,
                                             NSErrorPtr* error);
