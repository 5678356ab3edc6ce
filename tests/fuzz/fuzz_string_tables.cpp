/// Any bytes as a table of texts, or as a property list: reading them ends, with texts that are whole.

#include "platform/backends/plist/StringsFile.h"

#include <cstdint>
#include <cstdlib>

namespace {

/// Of texts, all together, from an input: escapes and encodings make more bytes of few, but not without bound.
constexpr std::size_t kMostTimes = 8;

void check(const std::map<std::string, std::string>& texts, std::size_t most) {
  std::size_t total = 0;
  for (const auto& [key, text] : texts) total += key.size() + text.size();
  if (total > most) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view content(reinterpret_cast<const char*>(data), size);
  // Lists can name a text again and again, and each is one of the result.
  check(parsePropertyList(content), kMostTimes * (size + 1) * (size + 1));
  if (!content.starts_with("bplist")) check(parseStringsFile(content), kMostTimes * (size + 1));
  return 0;
}
