#include "platform/backends/ffmpeg/PictureSize.h"

extern "C" {
#include <libavutil/mem.h>
}

#include <algorithm>

namespace {

constexpr std::int64_t kPixelsOfThreads = 67'000'000;  // 100 MB of the usual pictures: eight of 3840 x 2160, two of 8K

}  // namespace

int decodingThreads(std::int64_t pixels, int wanted) {
  const std::int64_t most = std::max<std::int64_t>(1, kPixelsOfThreads / std::max<std::int64_t>(1, pixels));
  return static_cast<int>(std::min<std::int64_t>(most, std::max(1, wanted)));
}

std::int64_t largestDecoded(std::int64_t pixels) {
  return pixels <= kPixelsOfTwoDecoders ? kPixelsOfTwoDecoders : pixels <= kUsualPixels ? kUsualPixels : kMostPixels;
}

void limitPieces() {
  constexpr std::size_t kLargestPiece = 4 * kMostPixels;  // as an index, of 25 hours of 60 pictures a second
  static const bool done = (av_max_alloc(kLargestPiece), true);
  (void)done;
}

void limitPictures(AVCodecContext* decoder) {
  decoder->max_pixels = largestDecoded(std::int64_t{decoder->width} * decoder->height);
}
