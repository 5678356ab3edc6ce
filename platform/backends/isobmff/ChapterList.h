#pragma once

#include "platform/backends/isobmff/ByteReader.h"
#include "platform/backends/isobmff/Movie.h"

namespace isobmff {

/// The content of a udta box for a movie that shows [`from`, `to`) of this one's timeline, in seconds: its list of
/// chapters (chpl) tells the times of the new one, all else is as it was. The chapter that is under way at `from`
/// begins at 0. Without the list when no chapter begins before `to`, or when it can't be understood.
Bytes cutChapters(const Bytes& userData, double from, double to);

}  // namespace isobmff
