#include "platform/Foundation/PersonLanguages.h"

#include <algorithm>
#include <cstdlib>

std::vector<std::string> personLanguages() {
  std::vector<std::string> names;
  const auto add = [&](std::string locale) {
    locale.erase(std::min(locale.find_first_of(".@"), locale.size()));
    if (!locale.empty() && locale != "C" && locale != "POSIX") names.push_back(locale);
  };
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (!value || !*value) continue;
    add(value);
    break;
  }
  if (names.empty()) return names;
  const char* list = std::getenv("LANGUAGE");
  if (!list) return names;
  const std::string own = names.front(), wanted = list;
  names.clear();
  for (std::size_t start = 0; start <= wanted.size();) {
    const std::size_t end = std::min(wanted.find(':', start), wanted.size());
    add(wanted.substr(start, end - start));
    start = end + 1;
  }
  add(own);
  return names;
}
