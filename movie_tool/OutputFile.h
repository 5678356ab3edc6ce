#pragma once

#include "movie_tool/SourceFile.h"

#include <string>

/// Names and places of trimmed copies.
namespace output_file {

/// “NAME trimmed.EXT” beside the movie: with its own ending if that fits what is written, else .mp4 or .mov. Shortened
/// where it would be too long for a file system.
std::string defaultPath(const std::string& movie, const SourceFile& source);

/// Why the copy of `movie` can't be called `path`; empty when it can: when the ending is one of what is written, is the
/// movie's own one, or there is none.
std::string wrongEnding(const std::string& path, const std::string& movie, const SourceFile& source);

/// Why no file can be put at `path`; empty when nothing stands in the way now. `replaces`: what is there may go.
std::string obstacle(const std::string& path, const std::string& movie, bool replaces);

}  // namespace output_file
