#pragma once

#include "platform/backends/isobmff/BoxParser.h"
#include "platform/backends/isobmff/Movie.h"
#include "platform/backends/isobmff/ReadLimits.h"

namespace isobmff {

/// Copies boxes into the tree that the writer puts into the new file.
///
/// Of each box that there can be one of (mvhd, tkhd, edts, mdia, mdhd, minf, stbl, the tables, ...) the first is kept.
/// Left out: mvex, and what players do without and a cut could not follow: auxiliary data elsewhere in the file (saiz,
/// saio, senc; they mostly belong to protected tracks, which are not cut at all), and samples that stand in for others
/// (stsh). Tables that Track holds are kept without their content.
class BoxTree {
 public:
  static constexpr std::size_t maximumBoxes = 100'000;

  explicit BoxTree(ReadLimits& limits) : limits_(limits) {}

  /// A trak box. Throws ReadFailure for too many boxes, or too large ones.
  Box copyTrack(const BoxView& trak) { return copy(trak, 1); }
  /// Any other box of moov, as it is.
  Box copyOpaque(const BoxView& box);

 private:
  Box copy(const BoxView& box, int depth);
  void count();

  ReadLimits& limits_;
  std::size_t boxes_ = 0;
};

}  // namespace isobmff
