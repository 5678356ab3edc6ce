#include "platform/backends/posix/FlushAhead.h"

#include <fcntl.h>

namespace {

constexpr std::uint64_t kPart = 8 << 20;

}  // namespace

void FlushAhead::add(std::uint64_t offset, std::uint64_t length) {
  // What is left over when the writing jumps is for fsync.
  if (offset != end_) begin_ = offset;
  end_ = offset + length;
  if (end_ - begin_ < kPart) return;
  sync_file_range(descriptor_, off_t(begin_), off_t(end_ - begin_), SYNC_FILE_RANGE_WRITE);
  begin_ = end_;
}
