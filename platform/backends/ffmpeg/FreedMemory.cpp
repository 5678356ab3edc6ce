#include "platform/backends/ffmpeg/FreedMemory.h"

#include <malloc.h>

void returnLargeMemoryAtOnce() {
#ifdef __GLIBC__
  // Left alone, the library raises this limit with each piece that is freed. Larger than a picture of the usual sizes,
  // smaller than the index of a long recording.
  static const int done = mallopt(M_MMAP_THRESHOLD, 4 << 20);
  (void)done;
#endif
}

void returnFreedMemory() {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}
