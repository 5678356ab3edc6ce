#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

/// The number of a picture, drawn into its upper quarter as two rows of ten black and white blocks that reach over the
/// whole width. Row by row, left to right: white, black, sixteen bits with the highest first, the bits' parity, its
/// opposite. The position is relative to the picture, so scaling does not matter.
namespace frame_code {

inline constexpr int kBits = 16;

/// True is white.
inline std::array<bool, 20> cells(int number) {
  std::array<bool, 20> result{};
  result[0] = true;
  bool parity = false;
  for (int bit = 0; bit < kBits; ++bit) {
    const bool one = (number >> (kBits - 1 - bit)) & 1;
    result[std::size_t(bit) + 2] = one;
    parity = parity != one;
  }
  result[18] = parity;
  result[19] = !parity;
  return result;
}

/// Reads the number back from rows of 32-bit pixels (blue, green, red, anything). `clockwiseQuarters` says how often
/// the picture has been turned clockwise. Nothing when the picture carries no readable number.
inline std::optional<int> read(const std::uint8_t* pixels, int width, int height, std::size_t stride,
                               int clockwiseQuarters = 0) {
  const bool swapped = clockwiseQuarters & 1;
  const int uprightWidth = swapped ? height : width, uprightHeight = swapped ? width : height;
  if (uprightWidth < 20 || uprightHeight < 16) return std::nullopt;
  auto grey = [&](int x, int y) {
    int column = x, row = y;
    switch (clockwiseQuarters & 3) {
      case 1:
        column = width - 1 - y, row = x;
        break;
      case 2:
        column = width - 1 - x, row = height - 1 - y;
        break;
      case 3:
        column = y, row = height - 1 - x;
        break;
      default:
        break;
    }
    const std::uint8_t* p = pixels + std::size_t(row) * stride + std::size_t(column) * 4;
    return (p[0] + 6 * p[1] + 3 * p[2]) / 10;
  };
  std::array<int, 20> level{};
  for (int cell = 0; cell < 20; ++cell) {
    // The middle of the block only: its edges run into its neighbours.
    const double left = (cell % 10 + 0.3) * uprightWidth / 10, right = (cell % 10 + 0.7) * uprightWidth / 10;
    const double top = (cell / 10 + 0.3) * uprightHeight / 8, bottom = (cell / 10 + 0.7) * uprightHeight / 8;
    int sum = 0, count = 0;
    for (int y = int(top); y < bottom && y < uprightHeight; ++y) {
      for (int x = int(left); x < right && x < uprightWidth; ++x) sum += grey(x, y), ++count;
    }
    level[std::size_t(cell)] = count ? sum / count : 0;
  }
  if (level[0] - level[1] < 60) return std::nullopt;
  const int middle = (level[0] + level[1]) / 2;
  int number = 0;
  for (int bit = 0; bit < kBits; ++bit) number = number * 2 + (level[std::size_t(bit) + 2] > middle);
  const auto expected = cells(number);
  for (std::size_t cell = 0; cell < 20; ++cell) {
    if ((level[cell] > middle) != expected[cell]) return std::nullopt;
  }
  return number;
}

/// The same for a picture object with width, height, stride and pixels (a CGImage).
template <class Image>
std::optional<int> read(const Image& image, int clockwiseQuarters = 0) {
  return read(image.pixels.data(), image.width, image.height, image.stride, clockwiseQuarters);
}

}  // namespace frame_code
