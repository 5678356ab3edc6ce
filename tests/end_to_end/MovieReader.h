#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// Looks at movies and pictures from outside, with the ffmpeg programs.

/// The numbers that a movie's pictures carry, in the order and at the times that a player shows them.
std::vector<std::optional<int>> frameNumbers(const std::filesystem::path& movie);

/// The length in seconds that a player shows; 0 when the file is not a movie.
double movieDuration(const std::filesystem::path& movie);

/// The number of the recording's picture in a part of a picture file: the part, in pixels, that shows the video.
std::optional<int> frameNumberInPicture(const std::filesystem::path& picture, int x, int y, int width, int height);
