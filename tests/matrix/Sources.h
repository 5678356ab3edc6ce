#pragma once

#include <string>
#include <vector>

namespace matrix {

/// The recordings of the matrix by file name, in the table's order (see recordings/make_matrix.sh).
const std::vector<std::string>& sourceNames();

/// The path of one of them. They are made at the first call; ends the program when they can't be.
std::string sourcePath(const std::string& name);

/// A name of a test for one of them.
std::string testName(std::string source);

/// Whether a copy keeps the boxes of its source: MP4 and MOV files, as opposed to those that are packed anew.
bool isMovieFile(const std::string& name);

}  // namespace matrix
