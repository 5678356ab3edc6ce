#pragma once

#include "platform/backends/isobmff/ReadFailure.h"

#include <cstdint>

namespace isobmff {

/// What reading one movie may take, for all its tracks and fragments together. Its own size does not limit a file: one
/// full of holes claims anything.
struct ReadLimits {
  std::uint64_t fileSize = 0;
  /// Runs of samples and entries of sample groups, 40 bytes each at most: thirty hours of pictures at 30 a second with
  /// their sound.
  std::uint64_t runsLeft = 8'000'000;
  /// Samples without a byte, of which a run may claim any number; live data tracks have some.
  std::uint64_t emptySamplesLeft = 4'000'000;
  /// Samples for which it is kept how they depend on each other, a byte each.
  std::uint64_t dependenciesLeft = 16'000'000;
  /// Entries of edit lists. Recorders write one or two, editing programs hundreds.
  std::uint64_t editsLeft = 1 << 18;
  /// Bytes of boxes that are kept as they are: descriptions, cover pictures, metadata.
  std::uint64_t keptBytesLeft = 64 << 20;
  /// Bytes of fragments' indexes.
  std::uint64_t fragmentBytesLeft = std::uint64_t(1) << 30;
  /// Descriptions of sample groups that are compared with one of a fragment.
  std::uint64_t comparisonsLeft = 100'000'000;

  void takeRuns(std::uint64_t count) {
    if (count > runsLeft) throw ReadFailure{"has more samples than can be handled."};
    runsLeft -= count;
  }
  /// Of any of the others; `what` names the part of the index that claims too much.
  static void take(std::uint64_t& left, std::uint64_t count, const char* what) {
    if (count > left) failDamaged(what);
    left -= count;
  }
};

}  // namespace isobmff
