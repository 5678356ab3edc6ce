#include "platform/Foundation/NSByteCountFormatter.h"

#include "platform/backends/icu/PersonLocale.h"

#include <unicode/measunit.h>
#include <unicode/numberformatter.h>
#include <array>

std::string NSByteCountFormatter::stringFromByteCount(std::int64_t bytes) {
  const std::array<icu::MeasureUnit, 5> units{icu::MeasureUnit::getByte(), icu::MeasureUnit::getKilobyte(),
                                              icu::MeasureUnit::getMegabyte(), icu::MeasureUnit::getGigabyte(),
                                              icu::MeasureUnit::getTerabyte()};
  constexpr double step = 1000, nearlyAStep = 999.5, belowTen = 9.95;  // as they are when they are rounded
  auto number = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (number >= nearlyAStep && unit + 1 < units.size()) {
    number /= step;
    ++unit;
  }
  const icu::Locale locale(personNumberLocale().c_str());
  const bool isSmall = unit > 0 && number < belowTen;
  UErrorCode status = U_ZERO_ERROR;
  const auto formatted =
      icu::number::NumberFormatter::withLocale(locale)
          .unit(units[unit])
          .unitWidth(unit == 0 ? UNUM_UNIT_WIDTH_FULL_NAME : UNUM_UNIT_WIDTH_SHORT)
          .precision(isSmall ? icu::number::Precision::fixedFraction(1) : icu::number::Precision::integer())
          .formatDouble(number, status);
  const icu::UnicodeString text = formatted.toString(status);
  if (U_FAILURE(status)) return std::to_string(bytes);
  std::string utf8;
  return text.toUTF8String(utf8);
}
