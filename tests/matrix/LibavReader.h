#pragma once

#include "tests/matrix/Reading.h"

namespace matrix {

enum class EditLists { Honoured, Ignored };

/// Decodes all pictures of the first picture track and all sound tracks with libav. Nothing is rebased: times are those
/// of the container.
Reading readWithLibav(const std::string& path, EditLists editLists);

}  // namespace matrix
