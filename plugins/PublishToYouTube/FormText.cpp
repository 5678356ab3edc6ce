#include "plugins/PublishToYouTube/FormText.h"

#include "platform/Foundation/NSBundle.h"
#include "plugins/PublishToYouTube/PublishToYouTubeForm.h"

#include <algorithm>
#include <cmath>

std::string formText(const std::string& text) {
  static const auto bundle = NSBundle::bundleForClass(PublishToYouTubeForm::staticClass());
  return bundle->localizedStringForKey_value_table(text, text, "");
}

std::string formText(const std::string& text, const std::string& value) {
  std::string result = formText(text);
  if (const auto place = result.find("%@"); place != std::string::npos) result.replace(place, 2, value);
  return result;
}

std::string durationText(double seconds) {
  constexpr double minute = 60, hour = 3600;
  const auto rounded = [](double value) { return std::to_string(static_cast<long>(std::lround(value))); };
  if (seconds < minute - 0.5) return formText("%@ s", rounded(std::max(seconds, 1.0)));
  if (seconds < hour - minute / 2) return formText("%@ min", rounded(seconds / minute));
  return formText("%@ h", rounded(seconds / hour));
}
