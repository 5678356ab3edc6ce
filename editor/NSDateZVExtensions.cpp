#include "editor/NSDateZVExtensions.h"

#include "platform/Foundation/NSDateFormatter.h"

std::string ZVExtensions::_srGetStringFromDate(const std::optional<NSDate>& date) {
  NSDateFormatter formatter;
  formatter.setDateFormat("MMMM d hh:mm a");
  // No zone has this name, so the formatter works in the machine's own.
  formatter.setTimeZone(NSTimeZone::timeZoneWithName("..."));
  return formatter.stringFromDate(date);
}
