#include "platform/backends/isobmff/MediaLayout.h"

#include <algorithm>

namespace isobmff {

namespace {

bool before(const MediaLayout::Piece& a, const MediaLayout::Piece& b) {
  return a.source < b.source;
}

}  // namespace

MediaLayout::MediaLayout(const CutPlan& plan) {
  for (const TrackPlan& track : plan.tracks) {
    const std::size_t first = pieces_.size();
    bool sorted = true;
    for (const SampleRun& run : track.runs) {
      const std::uint64_t length = std::uint64_t(run.count) * run.size;
      if (length == 0) continue;
      if (pieces_.size() > first) {
        Piece& last = pieces_.back();
        if (last.source + last.length == run.offset) {
          last.length += length;
          continue;
        }
        sorted = sorted && last.source <= run.offset;
      }
      pieces_.push_back({run.offset, length, 0});
    }
    const auto middle = pieces_.begin() + std::ptrdiff_t(first);
    if (!sorted) std::sort(middle, pieces_.end(), before);
    std::inplace_merge(pieces_.begin(), middle, pieces_.end(), before);
  }

  // Neighbours and those that overlap become one.
  std::size_t kept = 0;
  for (const Piece& piece : pieces_) {
    if (kept > 0 && piece.source <= pieces_[kept - 1].source + pieces_[kept - 1].length) {
      Piece& last = pieces_[kept - 1];
      last.length = std::max(last.length, piece.source + piece.length - last.source);
    } else {
      pieces_[kept++] = piece;
    }
  }
  pieces_.resize(kept);
  place();
}

void MediaLayout::place() {
  const auto large = std::find_if(pieces_.begin(), pieces_.end(), [](const Piece& p) { return p.length >= kLarge; });
  hasLarge_ = large != pieces_.end();
  if (hasLarge_) {
    std::uint64_t lead = 0;
    for (auto piece = pieces_.begin(); piece != large; ++piece) lead += piece->length;
    phase_ = (large->source - lead) % kBlock;
  }
  std::uint64_t at = 0;
  for (Piece& piece : pieces_) {
    if (piece.length >= kLarge) at += (piece.source - (at + phase_)) % kBlock;
    piece.target = at;
    at += piece.length;
  }
}

std::uint64_t MediaLayout::Cursor::target(std::uint64_t source) {
  const std::vector<Piece>& pieces = layout_.pieces_;
  const auto holds = [&](std::size_t i) {
    return pieces[i].source <= source && source - pieces[i].source < pieces[i].length;
  };
  if (!holds(piece_)) {
    if (piece_ + 1 < pieces.size() && holds(piece_ + 1)) {
      ++piece_;
    } else {
      const auto after = std::upper_bound(pieces.begin(), pieces.end(), Piece{source, 0, 0}, before);
      piece_ = std::size_t(after - pieces.begin()) - 1;
    }
  }
  return pieces[piece_].target + (source - pieces[piece_].source);
}

}  // namespace isobmff
