#pragma once

#include <array>
#include <charconv>
#include <string>

/// Seconds the way the core reads them, whatever the locale.
inline std::string decimal(double seconds) {
  std::array<char, 64> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), seconds, std::chars_format::fixed, 9);
  return {text.data(), result.ptr};
}
