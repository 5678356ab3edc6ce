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
/// Limits: 256 MB of index, 64 MB of each fragment's and 1 GB of all of theirs, 1000 tracks, 2^32 samples a track,
/// 100,000 boxes in the tree, 2^60 ticks, 8 million boxes in the file, and those of ReadLimits.
///
/// What is damaged but plays is taken as players take it: a list of durations that ends early goes on with its last one
/// (one of offsets with 0), a duration with the highest bit set is one tick, a sample description that is not there is
/// the first, sync samples may be out of order or counted from 0, and an empty list of them means the first sample
/// (with sound: all). Tables that claim more than they hold are errors. A track without a header, handler, time scale
/// or sample description is left out, its trak box too; it is an error when nothing else has pictures or sound.
///
/// Sound of constant rate that the tables count in frames of one byte (QuickTime) gets its real sizes; where its
/// packets hold several frames, samples are packets. In fragments, gaps make the sample before them longer; times that
/// count from a far moment are moved near zero by whole seconds, all tracks alike. Random access points of the sample
/// group "rap " that are not sync samples are given as partial ones.
///
/// Not taken along at all: auxiliary data that lies elsewhere in the file (saiz, saio, senc), samples that stand in for
/// others (stsh), and in fragments parts of samples (subs). Players do without; tracks that can't be decoded without
/// are protected, and planCut refuses those.
///
/// Null and `error` (AVFoundationErrorDomain or NSPOSIXErrorDomain; the text names the file by `displayName`). Any
/// thread; reads with pread.
std::unique_ptr<Movie> readMovie(int descriptor, const std::string& displayName, NSErrorPtr* error);

}  // namespace isobmff
