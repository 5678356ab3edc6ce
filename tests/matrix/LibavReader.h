#pragma once

#include "tests/matrix/Reading.h"

namespace matrix {

enum class EditLists { Honoured, Ignored };
enum class Tracks { All, Pictures, Sounds };

/// Decodes all pictures of the first picture track and all sound tracks with libav, or one kind only. Nothing is
/// rebased: times are those of the container. AV1 is decoded by libaom: of libav's usual decoder comes every picture
/// that an edit list hides.
Reading readWithLibav(const std::string& path, EditLists editLists, Tracks kind = Tracks::All);

}  // namespace matrix
