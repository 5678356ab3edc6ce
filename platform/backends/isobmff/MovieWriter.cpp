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

void copyBoxes(const std::vector<Box>& boxes, ByteWriter& out) {
  for (const Box& box : boxes) {
    const std::size_t start = out.begin(box.type);
    out.append(box.payload);
    copyBoxes(box.children, out);
    out.end(start);
  }
}

/// Everything in front of the media. Returns the media's offset in the file, which is the size of `bytes`.
std::uint64_t writeFront(const Movie& movie, const CutPlan& plan, const MediaLayout& layout, bool wide, Bytes& bytes) {
  std::size_t runs = 0;
  for (const TrackPlan& track : plan.tracks) runs += track.runs.size();
  bytes.clear();
  bytes.reserve(runs * (wide ? 14 : 10) + (64 << 10));
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
  copyBoxes(movie.other, out);

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

}  // namespace

NSErrorPtr writeMovie(const Movie& movie, const CutPlan& plan, int source, int output,
                      const std::function<void(float)>& progress, const std::function<bool()>& isCancelled) {
  const MediaLayout layout(plan);
  if (!layout.pieces().empty()) {
    struct stat status {};
    if (fstat(source, &status) != 0) return NSError::posix(errno, "The recording could not be read");
    const MediaLayout::Piece& last = layout.pieces().back();
    if (std::uint64_t(status.st_size) < last.source + last.length) return sourceEnded();
  }

  std::uint64_t mediaOffset = 0;
  {
    Bytes front;
    bool wide = layout.size() > kMaximum32;
    mediaOffset = writeFront(movie, plan, layout, wide, front);
    if (!wide && mediaOffset + layout.size() > kMaximum32) {
      mediaOffset = writeFront(movie, plan, layout, true, front);
    }
    if (NSErrorPtr error = writeAll(output, front)) return error;
  }

  std::uint64_t total = 0;
  for (const MediaLayout::Piece& piece : layout.pieces()) total += piece.length;
  float last = 0;
  const auto report = [&](std::uint64_t done) {
    last = std::max(last, total > 0 ? float(double(done) / double(total)) : 1.0F);
    if (progress) progress(std::min(last, 1.0F));
  };
  RangeCopier copier(source, output, report, isCancelled);
  const RangeCopier::Result result = copier.copy(layout.pieces(), mediaOffset);
  if (result.ended) return sourceEnded();
  if (result.error == ECANCELED) return NSError::posix(ECANCELED, "The trimmed movie was not written");
  if (result.error != 0) {
    return NSError::posix(
        result.error, result.reading ? "The recording could not be read" : "The trimmed movie could not be written");
  }
  if (progress) progress(1);
  return nullptr;
}

}  // namespace isobmff
