#include "platform/Foundation/UTF8.h"

#include <cstdint>

UTF8Character UTF8CharacterAt(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return at + i < text.size() ? std::uint8_t(text[at + i]) : 0U; };
  if (at >= text.size()) return {};
  const unsigned first = byte(0);
  if (first < 0x80) return {first, 1};
  if (first < 0xC2 || first > 0xF4) return {};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  char32_t code = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {};
    code = code << 6 | (byte(i) & 0x3F);
  }
  constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < least[length] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return {};
  return {code, length};
}

std::string UTF8Valid(const std::string& text) {
  std::string valid;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = UTF8CharacterAt(text, at).length;
    valid += length > 0 ? text.substr(at, length) : "\xEF\xBF\xBD";
    at += length > 0 ? length : 1;
  }
  return valid;
}

std::string UTF8Shortened(const std::string& text, std::size_t size) {
  if (text.size() <= size) return text;
  while (size > 0 && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
  return text.substr(0, size);
}
