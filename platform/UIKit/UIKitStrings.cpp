#include "platform/UIKit/UIKitStrings.h"

#include <cstdlib>
#include <map>

namespace {

using Table = std::map<std::string, std::string>;

/// The toolkit's words by two-letter language; the place to add a language.
const std::map<std::string, Table>& tables() {
  static const std::map<std::string, Table> all = {
      {"en", {{"Done", "Done"}, {"Cancel", "Cancel"}, {"Save", "Save"}, {"Undo", "Undo"}}},
  };
  return all;
}

/// The language that the environment names for messages: "de" of "de_AT.UTF-8".
std::string language() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (value && *value) return std::string(value).substr(0, 2);
  }
  return "en";
}

}  // namespace

std::string UIKitLocalizedString(const std::string& key) {
  const auto table = tables().find(language());
  if (table == tables().end()) return key;
  const auto word = table->second.find(key);
  return word == table->second.end() ? key : word->second;
}
