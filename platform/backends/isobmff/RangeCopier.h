#pragma once

#include "platform/backends/isobmff/MediaLayout.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace isobmff {

/// Moves media from one file into another: shared blocks where the file system can, else by large reads and writes, or
/// a copy inside the kernel where the file system may have a way of its own. Small pieces are gathered in memory, so
/// that each costs no system call of its own.
class RangeCopier {
 public:
  struct Result {
    int error = 0;         ///< errno value; ECANCELED after a cancellation
    bool reading = false;  ///< it was the source that failed. EIO with `ended`: it ends before the piece does
    bool ended = false;
  };

  /// `progress` gets the bytes done; `isCancelled` is asked before each step of a few megabytes.
  RangeCopier(int source, int target, std::function<void(std::uint64_t)> progress, std::function<bool()> isCancelled);

  /// Called after each step with what is now in the target.
  void setWritten(std::function<void(std::uint64_t offset, std::uint64_t length)> written) {
    written_ = std::move(written);
  }

  /// Whether to let the kernel copy what can't be shared; without this what is faster for the pieces and file system.
  void setCopiesInKernel(bool copies) {
    canCopyInKernel_ = copies;
    isChosen_ = true;
  }

  /// Kernels write fastest from multiples of this on.
  static constexpr std::uint64_t kGrain = 64 << 10;

  /// Copies all pieces, with their targets counted from `base`.
  Result copy(const std::vector<MediaLayout::Piece>& pieces, std::uint64_t base);

  /// How many bytes came as shared blocks.
  std::uint64_t bytesShared() const { return shared_; }

 private:
  Result copyLarge(std::uint64_t from, std::uint64_t to, std::uint64_t length);
  Result copyThroughMemory(std::uint64_t from, std::uint64_t to, std::uint64_t length);
  Result gather(const MediaLayout::Piece* first, const MediaLayout::Piece* last, std::uint64_t base);
  std::uint64_t shareBlocks(std::uint64_t from, std::uint64_t to, std::uint64_t length);
  Result fill(std::vector<std::uint8_t>& buffer, std::uint64_t from, std::size_t length);
  Result writeOut(const std::uint8_t* bytes, std::size_t length, std::uint64_t to);
  bool step(std::uint64_t to, std::uint64_t bytes);

  const int source_, target_;
  const std::function<void(std::uint64_t)> progress_;
  const std::function<bool()> isCancelled_;
  std::function<void(std::uint64_t, std::uint64_t)> written_;
  bool canShare_ = true, canCopyInKernel_ = true, isChosen_ = false;
  std::uint64_t done_ = 0, shared_ = 0;
  std::vector<std::uint8_t> in_, out_;
};

}  // namespace isobmff
