#include "platform/Foundation/NSNumberFormatter.h"

#include "platform/backends/icu/PersonLocale.h"

#include <unicode/numberformatter.h>
#include <unicode/numsys.h>
#include <algorithm>
#include <cmath>
#include <memory>

namespace {

/// The ten digits of a language.
icu::UnicodeString digitsOf(const std::string& locale) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::NumberingSystem> system(
      icu::NumberingSystem::createInstance(icu::Locale(locale.c_str()), status));
  if (U_FAILURE(status) || !system || system->isAlgorithmic()) return {};
  return system->getDescription();
}

}  // namespace

std::string NSNumberFormatter::percentStringFromPart(double part) {
  constexpr double all = 100, precision = 1e-5;  // of parts that come in single precision
  const double percents = std::isfinite(part) ? std::floor(std::clamp(part, 0.0, 1.0) * all + precision) : 0;
  UErrorCode status = U_ZERO_ERROR;
  const auto formatted = icu::number::NumberFormatter::withLocale(icu::Locale(personNumberLocale().c_str()))
                             .unit(icu::MeasureUnit::getPercent())
                             .precision(icu::number::Precision::integer())
                             .formatDouble(percents, status);
  const icu::UnicodeString text = formatted.toString(status);
  if (U_FAILURE(status)) return std::to_string(static_cast<int>(percents)) + "%";
  std::string utf8;
  return text.toUTF8String(utf8);
}

std::string NSNumberFormatter::stringInPersonsDigits(const std::string& text) {
  thread_local std::string known;
  thread_local icu::UnicodeString digits;
  if (std::string locale = personNumberLocale(); locale != known) {
    digits = digitsOf(locale);
    known = std::move(locale);
  }
  constexpr int32_t base = 10;
  if (digits.countChar32() != base || digits.char32At(0) == U'0') return text;
  std::string result;
  for (const char letter : text) {
    if (letter < '0' || letter > '9') {
      result += letter;
    } else {
      icu::UnicodeString(digits.char32At(digits.moveIndex32(0, letter - '0'))).toUTF8String(result);
    }
  }
  return result;
}
