#include "plugins/PublishToYouTube/upload/LocalizedText.h"

#include "platform/Foundation/DynamicLibrary.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSNumberFormatter.h"
#include "platform/Foundation/NSStringFormat.h"

#include <algorithm>
#include <cmath>

namespace publishing {

std::string localized(const std::string& text, const std::vector<std::string>& values) {
  static const auto bundle =
      NSBundle::bundleWithPath(systemPath("/System/Library/PublishingBundles/PublishToYouTube.bundle"));
  const std::string words = bundle ? bundle->localizedStringForKey_value_table(text, text, "") : text;
  return values.empty() ? words : NSStringWithFormat(words, values);
}

std::string numberText(std::int64_t number) {
  return NSNumberFormatter::stringInPersonsDigits(std::to_string(number));
}

std::string percentText(float part) {
  return NSNumberFormatter::percentStringFromPart(static_cast<double>(part));
}

std::string durationText(double seconds) {
  constexpr double minute = 60, hour = 3600;
  const auto rounded = [](double value) { return numberText(std::lround(value)); };
  if (seconds < minute - 0.5) return localized("%@ s", {rounded(std::max(seconds, 1.0))});
  if (seconds < hour - minute / 2) return localized("%@ min", {rounded(seconds / minute)});
  return localized("%@ h", {rounded(seconds / hour)});
}

}  // namespace publishing
