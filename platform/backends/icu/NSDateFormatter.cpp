#include "platform/Foundation/NSDateFormatter.h"

#include "platform/backends/icu/PersonLocale.h"

#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <memory>

std::string NSDateFormatter::stringFromDate(const std::optional<NSDate>& date) const {
  if (!date) return {};
  std::string identifier = locale_.empty() ? personDateLocale() : locale_;
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(icu::UnicodeString::fromUTF8(pattern_), icu::Locale(identifier.c_str()), status);
  if (U_FAILURE(status)) return {};
  format.adoptTimeZone(zone_ ? icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone_->name()))
                             : icu::TimeZone::createDefault());
  icu::UnicodeString text;
  format.format(date->timeIntervalSince1970() * 1000, text);
  std::string utf8;
  return text.toUTF8String(utf8);
}
