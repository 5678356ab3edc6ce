#include "platform/backends/ffmpeg/FreedMemory.h"

#include <mutex>

#include <malloc.h>

namespace {

/// One thread at a time. Where another allocator has taken the place of the C library's (a sanitizer's, a preloaded
/// one) these are the first calls that reach the latter. It then makes itself ready, which two threads at once do each
/// for themselves; when the second of them ends, it ends the program ("a->attached_threads > 0").
std::mutex& allocatorInUse() {
  static std::mutex& mutex = *new std::mutex;  // threads may still be at work when static objects are destroyed
  return mutex;
}

}  // namespace

void returnLargeMemoryAtOnce() {
#ifdef __GLIBC__
  const std::lock_guard lock(allocatorInUse());
  // Left alone, the library raises this limit with each piece that is freed. Larger than a picture of the usual sizes,
  // smaller than the index of a long recording.
  static const int done = mallopt(M_MMAP_THRESHOLD, 4 << 20);
  (void)done;
#endif
}

void returnFreedMemory() {
#ifdef __GLIBC__
  const std::lock_guard lock(allocatorInUse());
  malloc_trim(0);
#endif
}
