#pragma once

#include <string>
#include <vector>

/// The locales that the person wants to read in, most wanted first, as the environment names them without an encoding:
/// "de_AT". From LC_ALL, LC_MESSAGES or LANG, with the list in LANGUAGE before it where translation is wanted at all.
/// Empty when it isn't: in the locale "C". Any thread.
std::vector<std::string> personLanguages();
