#pragma once

#include "platform/backends/isobmff/ByteReader.h"

#include <cstddef>
#include <cstdint>

namespace isobmff {

/// Reads numbers that follow each other without a gap, the highest bit first. Behind the end there are zeros.
class BitReader {
 public:
  explicit BitReader(ByteSpan bytes) : bytes_(bytes) {}

  std::uint32_t bit() {
    const std::size_t at = position_ / 8;
    const std::uint32_t value = at < bytes_.size() ? bytes_[at] >> (7 - position_ % 8) & 1U : 0;
    ++position_;
    return value;
  }
  /// At most 32 bits.
  std::uint32_t bits(int count) {
    std::uint32_t value = 0;
    for (; count > 0; --count) value = value << 1 | bit();
    return value;
  }
  /// An unsigned Exponential-Golomb number.
  std::uint32_t golomb() {
    int zeros = 0;
    while (zeros < 32 && !bit()) ++zeros;
    if (zeros >= 32) return 0;
    return (1U << zeros | bits(zeros)) - 1;
  }
  /// Whether more has been read than there is.
  bool isOver() const { return position_ > 8 * bytes_.size(); }

 private:
  ByteSpan bytes_;
  std::size_t position_ = 0;
};

}  // namespace isobmff
