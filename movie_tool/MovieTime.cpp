#include "movie_tool/MovieTime.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr std::int32_t kNanoseconds = 1'000'000'000;
constexpr std::size_t kMostDigits = 9;  // of a whole part; ten figures of seconds do not fit as nanoseconds

bool isNumber(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::optional<CMTime> movie_time::parse(const std::string& text) {
  const std::size_t point = text.find('.');
  const std::string whole = point == 0 ? std::string(1, '0') : text.substr(0, point);
  std::string fraction = point == std::string::npos ? "0" : text.substr(point + 1);
  if (!isNumber(fraction)) return {};
  fraction.resize(9, '0');

  std::vector<std::int64_t> parts;
  for (std::size_t at = 0; at != std::string::npos;) {
    const std::size_t colon = whole.find(':', at);
    const std::string part = whole.substr(at, colon == std::string::npos ? colon : colon - at);
    if (!isNumber(part) || part.size() > kMostDigits) return {};
    parts.push_back(std::stoll(part));
    at = colon == std::string::npos ? colon : colon + 1;
  }
  if (parts.size() > 3) return {};
  std::int64_t seconds = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0 && parts[i] >= 60) return {};
    seconds = seconds * 60 + parts[i];
  }
  if (seconds >= 1'000'000'000) return {};
  return CMTime{seconds * kNanoseconds + std::stoll(fraction), kNanoseconds};
}

std::string movie_time::clock(double seconds) {
  const std::int64_t milliseconds = std::llround(std::max(seconds, 0.0) * 1000);
  const std::int64_t whole = milliseconds / 1000;
  char text[64];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%03lld", static_cast<long long>(whole / 3600),
                  static_cast<long long>(whole / 60 % 60), static_cast<long long>(whole % 60),
                  static_cast<long long>(milliseconds % 1000));
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld.%03lld", static_cast<long long>(whole / 60),
                  static_cast<long long>(whole % 60), static_cast<long long>(milliseconds % 1000));
  }
  return text;
}
