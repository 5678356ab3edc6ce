#include "platform/Foundation/NSDateFormatter.h"

#include <cstdlib>

#include <gtest/gtest.h>
#include <unicode/timezone.h>

namespace {

constexpr double kMarch5 = 1583399220;  // 2020-03-05 09:07 UTC

/// The title's date in a locale given by the environment, in a zone that the machine is set to.
std::string title(const char* variable, const char* locale, const char* zone, double seconds) {
  for (const char* name : {"LC_ALL", "LC_TIME", "LANG"}) unsetenv(name);
  if (locale) setenv(variable, locale, 1);
  icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone(zone));
  NSDateFormatter formatter;
  formatter.setDateFormat("MMMM d hh:mm a");
  formatter.setTimeZone(NSTimeZone::timeZoneWithName("..."));
  return formatter.stringFromDate(NSDate(seconds));
}

TEST(DateFormatter, WritesThePatternInThePersonsLocaleAndZone) {
  EXPECT_EQ(title("LANG", "en_US.UTF-8", "UTC", kMarch5), "March 5 09:07 AM");
  EXPECT_EQ(title("LC_ALL", "en_US.UTF-8", "UTC", 1573936440), "November 16 08:34 PM");
  EXPECT_EQ(title("LC_ALL", "C", "UTC", kMarch5), "March 5 09:07 AM");
  EXPECT_EQ(title("LANG", nullptr, "UTC", kMarch5), "March 5 09:07 AM");
  EXPECT_EQ(title("LC_TIME", "de_DE@euro", "Europe/Rome", kMarch5), "März 5 10:07 AM");
  EXPECT_EQ(title("LANG", "fr_FR.UTF-8", "America/New_York", kMarch5), "mars 5 04:07 AM");
}

TEST(DateFormatter, TakesLocaleAndZoneWhenGiven) {
  NSDateFormatter formatter;
  formatter.setDateFormat("d MMMM yyyy HH:mm");
  formatter.setLocaleIdentifier("it_IT");
  formatter.setTimeZone(NSTimeZone::timeZoneWithName("Asia/Tokyo"));
  EXPECT_EQ(formatter.stringFromDate(NSDate(kMarch5)), "5 marzo 2020 18:07");
  EXPECT_EQ(formatter.stringFromDate({}), "");
}

TEST(TimeZone, OnlyRealZonesHaveAName) {
  EXPECT_FALSE(NSTimeZone::timeZoneWithName("..."));
  EXPECT_FALSE(NSTimeZone::timeZoneWithName(""));
  ASSERT_TRUE(NSTimeZone::timeZoneWithName("Europe/Rome"));
  EXPECT_EQ(NSTimeZone::timeZoneWithName("Europe/Rome")->name(), "Europe/Rome");
}

}  // namespace
