#include "platform/backends/icu/PersonLocale.h"

#include "platform/Foundation/Environment.h"
#include "platform/Foundation/PersonLanguages.h"

#include <algorithm>

std::string personDateLocale() {
  for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) {
    std::string locale = environmentVariable(name);
    if (locale.empty()) continue;
    locale.erase(std::min(locale.find_first_of(".@"), locale.size()));
    if (locale == "C" || locale == "POSIX" || locale.empty()) break;
    return locale;
  }
  return "en_US";
}

std::string personNumberLocale() {
  const auto languages = personLanguages();
  return languages.empty() ? "en" : languages.front();
}
