#include "platform/backends/isobmff/MediaLayout.h"

#include <algorithm>

namespace isobmff {

namespace {

/// The samples of one track in the order of their places in the file.
struct Stream {
  const SampleRun* next = nullptr;
  const SampleRun* end = nullptr;
};

bool isEarlier(const SampleRun& a, const SampleRun& b) {
  return a.offset < b.offset;
}

bool isLater(const Stream& a, const Stream& b) {
  return isEarlier(*b.next, *a.next);
}

}  // namespace

MediaLayout::MediaLayout(const CutPlan& plan) {
  std::vector<std::vector<SampleRun>> sorted;  // of tracks that jump back in the file, which is rare
  std::vector<Stream> streams;
  for (const TrackPlan& track : plan.tracks) {
    const std::vector<SampleRun>* runs = &track.runs;
    if (!std::is_sorted(runs->begin(), runs->end(), isEarlier)) {
      runs = &sorted.emplace_back(*runs);
      std::stable_sort(sorted.back().begin(), sorted.back().end(), isEarlier);
    }
    if (!runs->empty()) streams.push_back({runs->data(), runs->data() + runs->size()});
  }
  std::make_heap(streams.begin(), streams.end(), isLater);
  while (!streams.empty()) {
    std::pop_heap(streams.begin(), streams.end(), isLater);
    Stream& stream = streams.back();
    const SampleRun* const other = streams.size() > 1 ? streams.front().next : nullptr;
    do {
      add(stream.next->offset, std::uint64_t(stream.next->count) * stream.next->size);
    } while (++stream.next != stream.end && !(other && isEarlier(*other, *stream.next)));
    if (stream.next == stream.end)
      streams.pop_back();
    else
      std::push_heap(streams.begin(), streams.end(), isLater);
  }
  place();
}

/// Stretches come in the order of their beginnings. Neighbours and those that overlap become one.
void MediaLayout::add(std::uint64_t source, std::uint64_t length) {
  if (length == 0) return;
  if (!pieces_.empty() && source <= pieces_.back().source + pieces_.back().length) {
    Piece& last = pieces_.back();
    last.length = std::max(last.length, source + length - last.source);
  } else {
    pieces_.push_back({source, length, 0});
  }
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
      const auto after =
          std::upper_bound(pieces.begin(), pieces.end(), source,
                           [](std::uint64_t offset, const Piece& piece) { return offset < piece.source; });
      piece_ = std::size_t(after - pieces.begin()) - 1;
    }
  }
  return pieces[piece_].target + (source - pieces[piece_].source);
}

}  // namespace isobmff
