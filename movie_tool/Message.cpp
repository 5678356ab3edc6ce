#include "movie_tool/Message.h"

#include <cstdint>
#include <cstdio>

namespace {

/// The character at `at` and its length in bytes; length 0 where there is none.
struct Character {
  std::uint32_t code = 0;
  std::size_t length = 0;
};

Character characterAt(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return at + i < text.size() ? std::uint8_t(text[at + i]) : 0U; };
  const unsigned first = byte(0);
  if (first < 0x80) return {first, 1};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return {};
  std::uint32_t code = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {};
    code = code << 6 | (byte(i) & 0x3F);
  }
  constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kLeast[length] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return {};
  return {code, length};
}

bool isHarmless(std::uint32_t code) {
  const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
  const bool line = code == 0x2028 || code == 0x2029;
  const bool direction =
      (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) || code == 0x200E || code == 0x200F;
  return !control && !line && !direction;
}

}  // namespace

std::string message::printable(const std::string& text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const Character character = characterAt(text, at);
    if (character.length > 0 && isHarmless(character.code)) {
      result.append(text, at, character.length);
      at += character.length;
      continue;
    }
    for (std::size_t left = character.length > 0 ? character.length : 1; left > 0; --left, ++at) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", unsigned(std::uint8_t(text[at])));
      result += text[at] == '\n' ? "\\n" : text[at] == '\t' ? "\\t" : escape;
    }
  }
  return result;
}

std::string message::quoted(const std::string& name) {
  return "“" + name + "”";
}

int message::fail(const std::string& what) {
  std::fprintf(stderr, "zevanti: %s\n", printable(what).c_str());
  return 1;
}

int message::wrongUse(const char* command, const std::string& problem, const char* usage) {
  std::fprintf(stderr, "zevanti %s: %s\n%s", command, printable(problem).c_str(), usage);
  return 2;
}
