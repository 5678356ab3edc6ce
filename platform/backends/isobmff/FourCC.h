#pragma once

#include <cstdint>
#include <string>

namespace isobmff {

/// A box type, handler type or other code of four characters, the first in the highest byte.
using FourCC = std::uint32_t;

constexpr FourCC fourCC(const char (&text)[5]) {
  FourCC code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | FourCC(std::uint8_t(text[i]));
  return code;
}

/// For messages and tables: unprintable bytes become '?'.
inline std::string toString(FourCC code) {
  std::string text(4, '?');
  for (int i = 0; i < 4; ++i) {
    const char c = char(code >> (24 - 8 * i) & 0xFF);
    if (c >= 0x20 && c < 0x7F) text[std::size_t(i)] = c;
  }
  return text;
}

}  // namespace isobmff
