#include "platform/Foundation/NSTimeZone.h"

#include <unicode/timezone.h>
#include <memory>

std::optional<NSTimeZone> NSTimeZone::timeZoneWithName(const std::string& name) {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
  if (!zone || *zone == icu::TimeZone::getUnknown()) return {};
  return NSTimeZone(name);
}
