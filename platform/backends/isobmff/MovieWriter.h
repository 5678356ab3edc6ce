#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MediaLayout.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace isobmff {

/// A stretch of a file.
struct ByteRange {
  std::uint64_t offset = 0, length = 0;
};

/// Writes a planned file: moov first, then the media in the source's order, in large pieces: shared blocks where the
/// file system can, else copied. Not synced. Errors are of NSPOSIXErrorDomain.
class MovieWriter {
 public:
  /// Descriptors, which stay open: the source, and an empty file open for reading and writing.
  MovieWriter(int source, int output) : source_(source), output_(output) {}

  /// Writes all that stands in front of the media. The movie's own runs are not needed for it, and neither the movie
  /// nor the plan afterwards.
  NSErrorPtr writeIndex(const Movie& movie, const CutPlan& plan);

  /// Where the media begins in the new file, and the size that this will have. After `writeIndex`.
  std::uint64_t mediaOffset() const { return mediaOffset_; }
  std::uint64_t fileSize() const { return mediaOffset_ + layout_->size(); }

  /// Brings in the media; what stands in `first` (offsets in the source, rising) before the rest, as far as that costs
  /// nothing. `progress` is called on the calling thread with rising values from 0 to 1, `isCancelled` several times a
  /// second, `written` after each piece with its place in the new file. All may be null. ECANCELED after a
  /// cancellation.
  NSErrorPtr copyMedia(const std::vector<ByteRange>& first, const std::function<void(float)>& progress,
                       const std::function<bool()>& isCancelled,
                       const std::function<void(std::uint64_t offset, std::uint64_t length)>& written);

 private:
  std::vector<MediaLayout::Piece> inOrder(const std::vector<ByteRange>& first) const;

  const int source_, output_;
  std::optional<MediaLayout> layout_;
  std::uint64_t mediaOffset_ = 0;
  bool anyOrder_ = false;  // parts of the file may be left for later at no cost
};

/// The same in one go.
NSErrorPtr writeMovie(const Movie& movie, const CutPlan& plan, int source, int output,
                      const std::function<void(float)>& progress, const std::function<bool()>& isCancelled);

}  // namespace isobmff
