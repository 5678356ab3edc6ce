#include "platform/Foundation/PersonLanguages.h"

#include "platform/Foundation/Environment.h"

#include <algorithm>

std::vector<std::string> personLanguages() {
  std::vector<std::string> names;
  const auto add = [&](std::string locale) {
    locale.erase(std::min(locale.find_first_of(".@"), locale.size()));
    if (!locale.empty() && locale != "C" && locale != "POSIX") names.push_back(locale);
  };
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const std::string value = environmentVariable(name);
    if (value.empty()) continue;
    add(value);
    break;
  }
  if (names.empty()) return names;
  const std::string own = names.front(), wanted = environmentVariable("LANGUAGE");
  names.clear();
  for (std::size_t start = 0; start <= wanted.size();) {
    const std::size_t end = std::min(wanted.find(':', start), wanted.size());
    add(wanted.substr(start, end - start));
    start = end + 1;
  }
  add(own);
  return names;
}
