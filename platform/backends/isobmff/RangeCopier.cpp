#include "platform/backends/isobmff/RangeCopier.h"

#include "platform/backends/posix/PlainFileSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace isobmff {

namespace {

constexpr std::uint64_t kKernelStep = 8 << 20;  // between two looks at a cancellation
constexpr std::uint64_t kShareStep = 1 << 30;   // sharing moves no bytes
constexpr std::size_t kBuffer = 512 << 10;
constexpr std::uint64_t kSmall = 256 << 10;  // smaller pieces are gathered
// What one call writes; read in such pieces it stays in the processor's own memory meanwhile. Larger ones make file
// systems with large pages look for memory in one piece, which can take longer than all the copying.
constexpr std::size_t kWrite = 128 << 10;
constexpr std::uint64_t kReadOver = 64 << 10;  // reading a gap of that size is cheaper than another call

}  // namespace

RangeCopier::RangeCopier(int source, int target, std::function<void(std::uint64_t)> progress,
                         std::function<bool()> isCancelled)
    : source_(source), target_(target), progress_(std::move(progress)), isCancelled_(std::move(isCancelled)) {}

/// Counts bytes done, at `to`. False after a cancellation.
bool RangeCopier::step(std::uint64_t to, std::uint64_t bytes) {
  done_ += bytes;
  if (written_ && bytes > 0) written_(to, bytes);
  if (progress_) progress_(done_);
  return !isCancelled_ || !isCancelled_();
}

RangeCopier::Result RangeCopier::copy(const std::vector<MediaLayout::Piece>& pieces, std::uint64_t base) {
  if (!step(0, 0)) return {ECANCELED};
  if (!isChosen_) {
    std::uint64_t total = 0;
    for (const MediaLayout::Piece& piece : pieces) total += piece.length;
    canCopyInKernel_ = !isFasterThroughMemory(target_, total);
  }
  const MediaLayout::Piece* const end = pieces.data() + pieces.size();
  for (const MediaLayout::Piece* piece = pieces.data(); piece != end;) {
    Result result;
    if (piece->length >= kSmall) {
      result = copyLarge(piece->source, base + piece->target, piece->length);
      ++piece;
    } else {
      // As many as fit into the buffer and are neighbours in the new file.
      const MediaLayout::Piece* last = piece;
      std::uint64_t bytes = piece->length;
      while (last + 1 != end && last[1].length < kSmall && last[1].target == last->target + last->length &&
             bytes + last[1].length <= kBuffer) {
        bytes += (++last)->length;
      }
      result = gather(piece, last, base);
      piece = last + 1;
    }
    if (result.error != 0) return result;
  }
  return {};
}

RangeCopier::Result RangeCopier::copyLarge(std::uint64_t from, std::uint64_t to, std::uint64_t length) {
  constexpr std::uint64_t kBlock = MediaLayout::kBlock;
  if (canShare_ && from % kBlock == to % kBlock && length >= 2 * kBlock) {
    const std::uint64_t head = (kBlock - from % kBlock) % kBlock;
    if (const Result result = copyThroughMemory(from, to, head); result.error != 0) return result;
    from += head, to += head, length -= head;
    const std::uint64_t whole = length / kBlock * kBlock;
    for (std::uint64_t done = 0; done < whole;) {
      const std::uint64_t shared = shareBlocks(from, to, std::min(whole - done, kShareStep));
      if (shared == 0) break;
      if (!step(to, shared)) return {ECANCELED};
      from += shared, to += shared, length -= shared, done += shared;
    }
  }
  const std::uint64_t lead = (kGrain - to % kGrain) % kGrain;
  if (canCopyInKernel_ && length > 2 * kGrain && lead > 0) {
    if (const Result result = copyThroughMemory(from, to, lead); result.error != 0) return result;
    from += lead, to += lead, length -= lead;
  }
  while (length > 0 && canCopyInKernel_) {
    loff_t in = loff_t(from), out = loff_t(to);
    const ssize_t count = copy_file_range(source_, &in, target_, &out, std::min(length, kKernelStep), 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG)) return {errno};
    if (count <= 0) {
      // Some file systems answer zero instead of an error; and whether it was reading or writing that failed, plain
      // calls tell. Where the kernel only can't do it between these files, it needn't be asked again.
      if (count < 0 && errno != EIO) canCopyInKernel_ = false;
      break;
    }
    const std::uint64_t begin = to;
    from += std::uint64_t(count), to += std::uint64_t(count), length -= std::uint64_t(count);
    if (!step(begin, std::uint64_t(count))) return {ECANCELED};
  }
  return copyThroughMemory(from, to, length);
}

/// Makes blocks of the target the source's own. Returns how many bytes that went well for: all or none.
std::uint64_t RangeCopier::shareBlocks(std::uint64_t from, std::uint64_t to, std::uint64_t length) {
  file_clone_range range{};
  range.src_fd = source_;
  range.src_offset = from;
  range.src_length = length;
  range.dest_offset = to;
  int result;
  do {
    result = ioctl(target_, FICLONERANGE, &range);
  } while (result != 0 && errno == EINTR);
  if (result != 0) {
    // A file system with larger blocks, another file system, one that can't, no space for its books: copying tells.
    canShare_ = false;
    return 0;
  }
  shared_ += length;
  return length;
}

RangeCopier::Result RangeCopier::copyThroughMemory(std::uint64_t from, std::uint64_t to, std::uint64_t length) {
  while (length > 0) {
    // Where file systems keep large pages, one call fills whole ones.
    const auto count = std::size_t(std::min<std::uint64_t>(length, kWrite - to % kWrite));
    if (const Result result = fill(in_, from, count); result.error != 0) return result;
    if (const Result result = writeOut(in_.data(), count, to); result.error != 0) return result;
    if (!step(to, count)) return {ECANCELED};
    from += count, to += count, length -= count;
  }
  return {};
}

/// Copies pieces that are neighbours in the new file by one write, and as few reads as their gaps allow.
RangeCopier::Result RangeCopier::gather(const MediaLayout::Piece* first, const MediaLayout::Piece* last,
                                        std::uint64_t base) {
  out_.clear();
  std::uint64_t windowStart = 0, windowEnd = 0;
  for (const MediaLayout::Piece* piece = first; piece <= last; ++piece) {
    if (piece->source < windowStart || piece->source + piece->length > windowEnd) {
      windowStart = piece->source;
      windowEnd = piece->source + piece->length;
      for (const MediaLayout::Piece* next = piece + 1; next <= last; ++next) {
        if (next->source - windowEnd > kReadOver || next->source + next->length - windowStart > kBuffer) break;
        windowEnd = next->source + next->length;
      }
      if (const Result result = fill(in_, windowStart, std::size_t(windowEnd - windowStart)); result.error != 0) {
        return result;
      }
    }
    const auto begin = in_.begin() + std::ptrdiff_t(piece->source - windowStart);
    out_.insert(out_.end(), begin, begin + std::ptrdiff_t(piece->length));
  }
  if (const Result result = writeOut(out_.data(), out_.size(), base + first->target); result.error != 0) return result;
  return step(base + first->target, out_.size()) ? Result{} : Result{ECANCELED};
}

RangeCopier::Result RangeCopier::fill(std::vector<std::uint8_t>& buffer, std::uint64_t from, std::size_t length) {
  if (buffer.size() < length) buffer.resize(std::max(length, kBuffer));
  for (std::size_t done = 0; done < length;) {
    const ssize_t count = pread(source_, buffer.data() + done, length - done, off_t(from + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return {errno, true};
    if (count == 0) return {EIO, true, true};
    done += std::size_t(count);
  }
  return {};
}

RangeCopier::Result RangeCopier::writeOut(const std::uint8_t* bytes, std::size_t length, std::uint64_t to) {
  for (std::size_t done = 0; done < length;) {
    const std::size_t piece = std::min<std::size_t>(length - done, kWrite - (to + done) % kWrite);
    const ssize_t count = pwrite(target_, bytes + done, piece, off_t(to + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return {errno};
    if (count == 0) return {EIO};
    done += std::size_t(count);
  }
  return {};
}

}  // namespace isobmff
