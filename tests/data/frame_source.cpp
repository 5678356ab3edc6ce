// Writes the pictures of a test recording to standard output as raw planar 4:2:0 video: frame_source WIDTH HEIGHT
// COUNT.
//
// The upper quarter of each picture carries its number as black and white blocks (see FrameCode.h); below it a pattern
// and a bright square move on by the same step from picture to picture.
#include "FrameCode.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: frame_source WIDTH HEIGHT COUNT\n");
    return 2;
  }
  const int width = std::atoi(argv[1]), height = std::atoi(argv[2]), count = std::atoi(argv[3]);
  if (width < 32 || height < 32 || width % 2 || height % 2 || count < 1) {
    std::fprintf(stderr, "frame_source: sides must be even and at least 32, the count at least 1\n");
    return 2;
  }
  const int chromaWidth = width / 2, chromaHeight = height / 2;
  std::vector<std::uint8_t> luma(std::size_t(width) * height), u(std::size_t(chromaWidth) * chromaHeight), v(u.size());
  const int codeHeight = height / 4;
  for (int n = 0; n < count; ++n) {
    const auto cells = frame_code::cells(n);
    for (int y = 0; y < codeHeight; ++y) {
      for (int x = 0; x < width; ++x) {
        const int cell = (y * 2 / codeHeight) * 10 + x * 10 / width;
        luma[std::size_t(y) * width + x] = cells[cell] ? 235 : 16;
      }
    }
    for (int y = codeHeight; y < height; ++y) {
      std::uint8_t* row = &luma[std::size_t(y) * width];
      for (int x = 0; x < width; ++x) {
        // Text-like detail that stands still, over stripes that move.
        const int detail = ((x / 3) * 7 ^ (y / 4) * 13) % 11 == 0 ? 24 : 0;
        row[x] = std::uint8_t(60 + (((x + y + n * 2) >> 4) & 7) * 12 + detail);
      }
    }
    const int side = height / 8;
    const int left = (n * 4) % (width - side), top = codeHeight + (n * 2) % (height - codeHeight - side);
    for (int y = top; y < top + side; ++y) {
      std::fill_n(&luma[std::size_t(y) * width + left], side, std::uint8_t(220));
    }
    for (int y = 0; y < chromaHeight; ++y) {
      const bool code = y * 2 < codeHeight;
      for (int x = 0; x < chromaWidth; ++x) {
        const std::size_t i = std::size_t(y) * chromaWidth + x;
        u[i] = std::uint8_t(code ? 128 : 104 + 48 * x / chromaWidth);
        v[i] = std::uint8_t(code ? 128 : 104 + 48 * y / chromaHeight);
      }
    }
    if (std::fwrite(luma.data(), 1, luma.size(), stdout) != luma.size() ||
        std::fwrite(u.data(), 1, u.size(), stdout) != u.size() ||
        std::fwrite(v.data(), 1, v.size(), stdout) != v.size()) {
      return 1;
    }
  }
  return 0;
}
