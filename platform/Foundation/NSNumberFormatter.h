#pragma once

#include <string>

/// Numbers as a person reads them, in the digits of their first language (see personLanguages): texts, sizes, times and
/// percentages all have the same. UTF-8. Any thread.
class NSNumberFormatter {
 public:
  /// "42%", "42 %", "%42", as the language has it; of a part from 0 to 1, rounded down: all is all only when it is.
  static std::string percentStringFromPart(double part);
  /// `text` with every digit 0 to 9 in it replaced by the language's own: "1:05" stays, or becomes "١:٠٥".
  static std::string stringInPersonsDigits(const std::string& text);
};
