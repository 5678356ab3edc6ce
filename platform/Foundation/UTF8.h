#pragma once

#include <cstddef>
#include <string>

/// One character of a text. `length` is in bytes, 0 where the bytes are no UTF-8: cut off, longer than needed, half of
/// a surrogate pair, or beyond the last character.
struct UTF8Character {
  char32_t code = 0;
  std::size_t length = 0;
};
UTF8Character UTF8CharacterAt(const std::string& text, std::size_t at);

/// `text` with a replacement character in the place of each byte that is no UTF-8. File names may hold any bytes; texts
/// that travel and are shown may not.
std::string UTF8Valid(const std::string& text);

/// The beginning of `text`, at most `size` bytes, cut at a character's border.
std::string UTF8Shortened(const std::string& text, std::size_t size);
