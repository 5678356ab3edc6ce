#pragma once

#include <string>
#include <vector>

namespace matrix {

/// The recordings of the matrix by file name, in the table's order (see recordings/make_matrix.sh).
const std::vector<std::string>& sourceNames();

/// The path of one of them. They are made at the first call; ends the program when they can't be.
std::string sourcePath(const std::string& name);

/// Whether a copy keeps the boxes of its source: MP4 and MOV files, as opposed to those that are packed anew.
bool isMovieFile(const std::string& name);

/// Whether its times are whole milliseconds, so that no sample's place is exact.
bool hasCoarseTimes(const std::string& name);

/// Whether its first sound track is Opus.
bool hasOpus(const std::string& name);

/// Whether libav's usual decoder for it shows the pictures that an edit list hides, as that for AV1 does.
bool showsHiddenPictures(const std::string& name);

/// Whether GStreamer's parser for its codec drops the pictures' lengths, so that a decoder can't tell which are hidden
/// unless it guesses a frame rate.
bool losesPictureLengths(const std::string& name);

}  // namespace matrix
