#include "platform/Foundation/ShownText.h"

#include "platform/Foundation/UTF8.h"

#include <cstdint>
#include <cstdio>

namespace {

bool breaksLines(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029;
}

/// Embeddings, overrides and isolates: all but the marks go on into what follows until something ends them.
bool turnsDirection(char32_t code) {
  return (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

bool isDirectionMark(char32_t code) {
  return code == 0x200E || code == 0x200F || code == 0x061C;
}

}  // namespace

bool isPrintable(char32_t character) {
  return !breaksLines(character) && !turnsDirection(character) && !isDirectionMark(character);
}

std::string printableText(const std::string& text) {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const auto [code, length] = UTF8CharacterAt(text, at);
    if (length > 0 && isPrintable(code)) {
      result.append(text, at, length);
      at += length;
      continue;
    }
    for (std::size_t left = length > 0 ? length : 1; left > 0; --left, ++at) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", unsigned(std::uint8_t(text[at])));
      result += text[at] == '\n' ? "\\n" : text[at] == '\t' ? "\\t" : escape;
    }
  }
  return result;
}

void printMessage(const std::string& text) {
  std::fputs(("zevanti: " + printableText(text) + "\n").c_str(), stderr);
}

std::string displayText(const std::string& text) {
  std::string shown;
  for (std::size_t at = 0; at < text.size();) {
    const auto [code, length] = UTF8CharacterAt(text, at);
    if (length == 0)
      shown += "\xEF\xBF\xBD";
    else if (breaksLines(code))
      shown += ' ';
    else if (!turnsDirection(code))
      shown.append(text, at, length);
    at += length > 0 ? length : 1;
  }
  return shown;
}

std::string displayName(const std::string& name) {
  constexpr std::size_t longest = 300;  // bytes
  const std::string shown = displayText(name);
  return shown.size() <= longest ? shown : UTF8Shortened(shown, longest) + "…";
}
