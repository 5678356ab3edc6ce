#pragma once

#include <string>

/// The person's locale for dates as an ICU identifier ("de_AT"), from LC_ALL, LC_TIME or LANG, in that order. "en_US"
/// when none is set or it is the "C" locale.
std::string personDateLocale();
