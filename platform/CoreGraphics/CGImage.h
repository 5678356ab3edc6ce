#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// A picture in memory: 32 bits a pixel, bytes in the order blue, green, red, alpha, colour multiplied by alpha.
/// Not changed once it is shared.
struct CGImage {
  int width = 0;           ///< pixels
  int height = 0;          ///< pixels
  std::size_t stride = 0;  ///< bytes from one row to the next
  bool opaque = false;     ///< every alpha is 255 (or the alpha byte is to be ignored)
  std::vector<std::uint8_t> pixels;

  CGImage() = default;
  /// A transparent picture with a stride that is a multiple of 64 bytes.
  CGImage(int width, int height);
};

using CGImageRef = std::shared_ptr<const CGImage>;
