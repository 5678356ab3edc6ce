#pragma once

/// Whether a file lies on one of the common file systems of this machine's own disks and memory. There copying inside
/// the kernel (copy_file_range), once blocks can't be shared, moves page after page; large plain reads and writes,
/// which the file system answers with large pages, take some two thirds of the time. Others, above all those of a
/// network, may copy where the data lies.
bool isOnPlainFileSystem(int descriptor);
