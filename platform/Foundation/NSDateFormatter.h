#pragma once

#include "platform/Foundation/NSDate.h"
#include "platform/Foundation/NSTimeZone.h"

#include <optional>
#include <string>

/// Turns a date into text by a Unicode date pattern, in the person's locale. Use from one thread at a time.
class NSDateFormatter {
 public:
  void setDateFormat(std::string pattern) { pattern_ = std::move(pattern); }
  /// Nothing means the machine's own time zone.
  void setTimeZone(std::optional<NSTimeZone> zone) { zone_ = std::move(zone); }
  /// An identifier such as "en_US"; empty (the default) means the person's locale, from the environment.
  void setLocaleIdentifier(std::string identifier) { locale_ = std::move(identifier); }
  /// UTF-8. Empty when there is no date.
  std::string stringFromDate(const std::optional<NSDate>& date) const;

 private:
  std::string pattern_;
  std::optional<NSTimeZone> zone_;
  std::string locale_;
};
