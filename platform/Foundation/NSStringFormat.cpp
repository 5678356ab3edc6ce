#include "platform/Foundation/NSStringFormat.h"

#include <charconv>
#include <cstddef>

std::string NSStringWithFormat(const std::string& format, const std::vector<std::string>& arguments) {
  std::string text;
  std::size_t next = 0;
  for (std::size_t at = 0; at < format.size(); ++at) {
    if (format[at] != '%') {
      text += format[at];
      continue;
    }
    const char* const rest = format.data() + at + 1;
    const char* const end = format.data() + format.size();
    if (rest != end && *rest == '%') {
      text += '%';
      ++at;
      continue;
    }
    std::size_t number = 0;
    const auto [after, error] = std::from_chars(rest, end, number);
    const bool numbered = error == std::errc() && after + 1 < end && after[0] == '$' && after[1] == '@' && number > 0;
    const bool plain = rest != end && *rest == '@';
    const std::size_t index = numbered ? number - 1 : next;
    if ((!numbered && !plain) || index >= arguments.size()) {
      text += '%';
      continue;
    }
    text += arguments[index];
    if (plain) ++next;
    at += numbered ? static_cast<std::size_t>(after - rest) + 2 : 1;
  }
  return text;
}
