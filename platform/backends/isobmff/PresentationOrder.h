#pragma once

#include "platform/backends/isobmff/Movie.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace isobmff {

/// Finds samples by the time at which they are presented, in a table that is sorted by that of decoding. How far the
/// two lie apart at most says where to look, so that a question costs little in a long recording. For a table without
/// any order in it that is not so: then all questions together cost a bounded time, and what is asked later is answered
/// with nothing. Times are ticks of the media.
class PresentationOrder {
 public:
  /// Keeps a reference to `runs`.
  explicit PresentationOrder(const std::vector<SampleRun>& runs);

  struct Shown {
    std::int64_t earliest = 0;  ///< presentation time of the sample that is presented first
    std::int64_t latest = 0;    ///< of the one that is presented last
    std::int64_t decoded = 0;   ///< decode time of the sample that is decoded first
  };
  /// The samples that are presented in [from, to).
  std::optional<Shown> between(std::int64_t from, std::int64_t to) const;

 private:
  const std::vector<SampleRun>& runs_;
  std::int64_t leastOffset_ = 0, greatestOffset_ = 0;  ///< of presentation against decoding
  std::int64_t longest_ = 0;                           ///< from the first sample of a run to its last one
  mutable std::uint64_t looks_ = 0;                    ///< at runs
};

}  // namespace isobmff
