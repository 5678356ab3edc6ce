#include "movie_tool/ProgressLine.h"

#include <unistd.h>
#include <cstdio>

namespace {

constexpr std::chrono::milliseconds kDelay(500);

}  // namespace

ProgressLine::ProgressLine() : start_(std::chrono::steady_clock::now()), terminal_(isatty(STDERR_FILENO) == 1) {}

ProgressLine::~ProgressLine() {
  if (shown_ < 0) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
}

void ProgressLine::show(float progress) {
  if (!terminal_ || std::chrono::steady_clock::now() - start_ < kDelay) return;
  const int percent = int(progress * 100);
  if (percent == shown_) return;
  shown_ = percent;
  std::fprintf(stderr, "\rTrimming: %d %%", percent);
  std::fflush(stderr);
}
