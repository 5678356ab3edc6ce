#pragma once

#include "tests/matrix/Reading.h"

namespace matrix {

enum class EditLists { Honoured, Ignored };

/// Decodes all pictures of the first picture track and all sound tracks with libav. Nothing is rebased: times are those
/// of the container. AV1 is decoded by libaom: of libav's usual decoder comes every picture that an edit list hides.
Reading readWithLibav(const std::string& path, EditLists editLists);

}  // namespace matrix
