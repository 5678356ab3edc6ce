#pragma once

#include "platform/backends/isobmff/CutPlan.h"

#include <cstdint>
#include <vector>

namespace isobmff {

/// Where the media of a cut lies in the new file: in the source's order, each byte once, what was together together.
class MediaLayout {
 public:
  /// A stretch that is copied in one go.
  struct Piece {
    std::uint64_t source = 0;  ///< offset in the source file
    std::uint64_t length = 0;
    std::uint64_t target = 0;  ///< offset from the beginning of the new file's media
  };

  /// File systems share blocks of this size, at the same place in a block.
  static constexpr std::uint64_t kBlock = 4096;
  /// Pieces of this size and more keep their place in a block; what that costs is less than a thousandth.
  static constexpr std::uint64_t kLarge = 4 << 20;

  explicit MediaLayout(const CutPlan& plan);

  const std::vector<Piece>& pieces() const { return pieces_; }
  /// Bytes from the first piece's begin to the last one's end.
  std::uint64_t size() const { return pieces_.empty() ? 0 : pieces_.back().target + pieces_.back().length; }
  /// Where in a block the media must begin, so that large pieces keep theirs; nothing to keep when there are none.
  std::uint64_t phase() const { return phase_; }
  bool hasLargePieces() const { return hasLarge_; }

  /// Looks up offsets; fast when they rise.
  class Cursor {
   public:
    explicit Cursor(const MediaLayout& layout) : layout_(layout) {}
    /// Where the byte at `source`, which must be part of a piece, lies in the new media.
    std::uint64_t target(std::uint64_t source);

   private:
    const MediaLayout& layout_;
    std::size_t piece_ = 0;
  };

 private:
  void add(std::uint64_t source, std::uint64_t length);
  void place();

  std::vector<Piece> pieces_;
  std::uint64_t phase_ = 0;
  bool hasLarge_ = false;
};

}  // namespace isobmff
