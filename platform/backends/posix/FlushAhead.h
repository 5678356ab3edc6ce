#pragma once

#include <cstdint>

/// Has the kernel take a file that is being written to the disk while the rest of it is still coming, in parts that are
/// worth a disk's while. One thread at a time.
class FlushAhead {
 public:
  /// `descriptor` stays the caller's.
  explicit FlushAhead(int descriptor) : descriptor_(descriptor) {}

  /// These bytes are in the file now. Waits for nothing but room in the disk's queue.
  void add(std::uint64_t offset, std::uint64_t length);

 private:
  const int descriptor_;
  std::uint64_t begin_ = 0, end_ = 0;  // written and not yet begun to be flushed
};
