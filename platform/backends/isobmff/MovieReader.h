#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/isobmff/Movie.h"

#include <memory>
#include <string>

namespace isobmff {

/// Whether the file begins like an ISO base media or QuickTime file (ftyp, or moov, mdat, wide, free, skip, pnot
/// first). Reads a few bytes at the start and leaves the file's position alone.
bool isMovieFile(int descriptor);

/// Reads everything but the media. Every size, count and offset is checked against the file; damaged or hostile files
/// end in an error, in time and memory that the file's own size and fixed limits bound. Samples that lie behind the
/// end of the file (a recording that was cut off) are dropped together with all that follow them in their track.
///
/// Null and `error` (AVFoundationErrorDomain or NSPOSIXErrorDomain; the text names the file by `displayName`). Any
/// thread; reads with pread.
std::unique_ptr<Movie> readMovie(int descriptor, const std::string& displayName, NSErrorPtr* error);

}  // namespace isobmff
