#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/isobmff/CutPlan.h"

#include <functional>

namespace isobmff {

/// Writes the planned file into `output`, an empty file: moov first, then the media in the source's order, moved by the
/// file system (shared blocks where it can, else copied inside the kernel) in large pieces. Not synced. The movie's own
/// runs are not needed any more.
///
/// `progress` is called on the calling thread with rising values from 0 to 1, `isCancelled` several times a second.
/// Null when done; an error of NSPOSIXErrorDomain (ECANCELED after a cancellation) otherwise.
NSErrorPtr writeMovie(const Movie& movie, const CutPlan& plan, int source, int output,
                      const std::function<void(float)>& progress, const std::function<bool()>& isCancelled);

}  // namespace isobmff
