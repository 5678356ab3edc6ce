#include "platform/backends/isobmff/MovieWriter.h"

#include "platform/backends/isobmff/IndexWriter.h"
#include "platform/backends/isobmff/MediaLayout.h"
#include "platform/backends/isobmff/RangeCopier.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include <sys/stat.h>
#include <unistd.h>

namespace isobmff {

namespace {

constexpr std::uint64_t kMaximum32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kWorthReordering = 4 << 20;  // less is copied in no time

/// Everything in front of the media. Returns the media's offset in the file, which is the size of `bytes`.
std::uint64_t writeFront(const Movie& movie, const CutPlan& plan, const MediaLayout& layout, bool wide, Bytes& bytes) {
  std::uint64_t tables = 64 << 10;
  for (std::size_t i = 0; i < plan.tracks.size(); ++i) tables += sampleTableBytes(movie.tracks[i], plan.tracks[i]);
  bytes.clear();
  bytes.reserve(tables);
  ByteWriter out(bytes);
  const std::size_t type = out.begin(fourCC("ftyp"));
  if (movie.fileType.empty()) {
    // Files from before there was such a box are QuickTime.
    out.u32(fourCC("qt  "));
    out.u32(0);
    out.u32(fourCC("qt  "));
  } else {
    out.append(movie.fileType);
  }
  out.end(type);
  IndexWriter index(movie, plan, layout, wide);
  index.write(bytes);
  for (const Box& box : movie.other) out.append(box);

  const bool large = layout.size() + 8 > kMaximum32;
  const std::uint64_t header = large ? 16 : 8;
  if (layout.hasLargePieces()) {
    std::uint64_t gap = (layout.phase() - (out.size() + header)) % MediaLayout::kBlock;
    if (gap > 0 && gap < 8) gap += MediaLayout::kBlock;
    if (gap > 0) {
      const std::size_t start = out.begin(fourCC("free"));
      bytes.resize(start + gap);
      out.end(start);
    }
  }
  out.u32(large ? 1 : std::uint32_t(header + layout.size()));
  out.u32(fourCC("mdat"));
  if (large) out.u64(header + layout.size());
  index.placeMedia(bytes, out.size());
  return out.size();
}

NSErrorPtr writeAll(int output, const Bytes& bytes) {
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = pwrite(output, bytes.data() + done, bytes.size() - done, off_t(done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return NSError::posix(count < 0 ? errno : EIO, "The trimmed movie could not be written");
    done += std::size_t(count);
  }
  return nullptr;
}

NSErrorPtr sourceEnded() {
  return std::make_shared<const NSError>(NSPOSIXErrorDomain, EIO,
                                         "The recording became shorter while it was copied. Try again when nothing "
                                         "else is changing it.");
}

/// Whether an empty file can be written at a distance from its beginning without the gap being filled at once. The file
/// is longer afterwards.
bool keepsGaps(int file) {
  constexpr off_t kGap = 1 << 20;
  struct stat status {};
  return ftruncate(file, kGap) == 0 && fstat(file, &status) == 0 && status.st_blocks == 0;
}

}  // namespace

NSErrorPtr MovieWriter::writeIndex(const Movie& movie, const CutPlan& plan) {
  layout_.emplace(plan);
  const MediaLayout& layout = *layout_;
  if (!layout.pieces().empty()) {
    struct stat status {};
    if (fstat(source_, &status) != 0) return NSError::posix(errno, "The recording could not be read");
    const MediaLayout::Piece& last = layout.pieces().back();
    if (std::uint64_t(status.st_size) < last.source + last.length) return sourceEnded();
  }
  anyOrder_ = layout.size() >= kWorthReordering && keepsGaps(output_);

  Bytes front;
  bool wide = layout.size() > kMaximum32;
  mediaOffset_ = writeFront(movie, plan, layout, wide, front);
  if (!wide && mediaOffset_ + layout.size() > kMaximum32) mediaOffset_ = writeFront(movie, plan, layout, true, front);
  return writeAll(output_, front);
}

/// The pieces, those that are wanted first in front of the others.
std::vector<MediaLayout::Piece> MovieWriter::inOrder(const std::vector<ByteRange>& first) const {
  if (first.empty() || !anyOrder_) return layout_->pieces();
  std::vector<MediaLayout::Piece> early, late;
  auto range = first.begin();
  for (MediaLayout::Piece piece : layout_->pieces()) {
    const auto take = [&piece](std::uint64_t length, std::vector<MediaLayout::Piece>& to) {
      if (length > 0) to.push_back({piece.source, length, piece.target});
      piece.source += length, piece.target += length, piece.length -= length;
    };
    while (range != first.end() && range->offset + range->length <= piece.source) ++range;
    for (auto wanted = range; wanted != first.end() && wanted->offset < piece.source + piece.length; ++wanted) {
      // Divided where the kernel writes fastest on both sides, and inside no block that could be shared.
      const std::uint64_t phase = mediaOffset_ + piece.target;
      const std::uint64_t before = wanted->offset > piece.source ? wanted->offset - piece.source : 0;
      const std::uint64_t begin = (phase + before) / RangeCopier::kGrain * RangeCopier::kGrain;
      take(begin > phase ? begin - phase : 0, late);
      const std::uint64_t behind = wanted->offset + wanted->length;
      if (behind <= piece.source) continue;  // went along with the one before
      const std::uint64_t from = mediaOffset_ + piece.target, to = from + (behind - piece.source);
      const std::uint64_t end = (to + RangeCopier::kGrain - 1) / RangeCopier::kGrain * RangeCopier::kGrain;
      take(std::min(end - from, piece.length), early);
      if (piece.length == 0) break;
    }
    take(piece.length, late);
  }
  early.insert(early.end(), late.begin(), late.end());
  return early;
}

NSErrorPtr MovieWriter::copyMedia(const std::vector<ByteRange>& first, const std::function<void(float)>& progress,
                                  const std::function<bool()>& isCancelled,
                                  const std::function<void(std::uint64_t, std::uint64_t)>& written) {
  std::uint64_t total = 0;
  for (const MediaLayout::Piece& piece : layout_->pieces()) total += piece.length;
  float last = 0;
  const auto report = [&](std::uint64_t done) {
    last = std::max(last, total > 0 ? float(double(done) / double(total)) : 1.0F);
    if (progress) progress(std::min(last, 1.0F));
  };
  RangeCopier copier(source_, output_, report, isCancelled);
  copier.setWritten(written);
  const RangeCopier::Result result = copier.copy(inOrder(first), mediaOffset_);
  if (result.ended) return sourceEnded();
  if (result.error == ECANCELED) return NSError::posix(ECANCELED, "The trimmed movie was not written");
  if (result.error != 0) {
    return NSError::posix(
        result.error, result.reading ? "The recording could not be read" : "The trimmed movie could not be written");
  }
  if (progress) progress(1);
  return nullptr;
}

NSErrorPtr writeMovie(const Movie& movie, const CutPlan& plan, int source, int output,
                      const std::function<void(float)>& progress, const std::function<bool()>& isCancelled) {
  MovieWriter writer(source, output);
  if (NSErrorPtr error = writer.writeIndex(movie, plan)) return error;
  return writer.copyMedia({}, progress, isCancelled, nullptr);
}

}  // namespace isobmff
