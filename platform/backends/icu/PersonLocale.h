#pragma once

#include <string>

/// The person's locale for dates as an ICU identifier ("de_AT"), from LC_ALL, LC_TIME or LANG, in that order. "en_US"
/// when none is set or it is the "C" locale. ICU brings its own texts: whether the C library has the locale installed
/// does not matter.
std::string personDateLocale();

/// For numbers in texts: the first of personLanguages, "en" without any.
std::string personNumberLocale();
