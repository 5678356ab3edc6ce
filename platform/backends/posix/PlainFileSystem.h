#pragma once

#include <cstdint>

/// Whether this many bytes are better copied by plain reads and writes than inside the kernel (copy_file_range), once
/// blocks can't be shared. On the common file systems of this machine's own disks and memory the kernel moves page
/// after page; writes of 128 KB, which they answer with large pages, take some two thirds of the time. That ends where
/// a copy is so long that memory for large pages is scarce. Other file systems, above all those of a network, may copy
/// where the data lies.
bool isFasterThroughMemory(int target, std::uint64_t bytes);
