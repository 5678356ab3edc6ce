#include "platform/Foundation/NSPredicate.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/ustring.h>

namespace {

/// `text` as it is compared: decomposed, so that one letter has one spelling, without what is not looked at. Nothing
/// for bytes that are no UTF-8.
icu::UnicodeString compared(const std::string& text, bool ignoresCase, bool ignoresDiacritics) {
  UErrorCode status = U_ZERO_ERROR;
  int32_t length = 0;
  u_strFromUTF8(nullptr, 0, &length, text.data(), static_cast<int32_t>(text.size()), &status);
  if (status != U_BUFFER_OVERFLOW_ERROR) return {};
  status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = icu::Normalizer2::getNFDInstance(status);
  if (U_FAILURE(status)) return {};
  icu::UnicodeString units = icu::UnicodeString::fromUTF8(text);
  if (ignoresCase) units.foldCase();
  units = normalizer->normalize(units, status);
  if (U_FAILURE(status)) return {};
  if (!ignoresDiacritics) return units;
  icu::UnicodeString letters;
  for (int32_t at = 0; at < units.length(); at = units.moveIndex32(at, 1)) {
    const UChar32 character = units.char32At(at);
    if (u_charType(character) != U_NON_SPACING_MARK) letters.append(character);
  }
  return letters;
}

}  // namespace

NSPredicate NSPredicate::predicateWithFormat(const std::string& format, const std::vector<std::string>& arguments) {
  NSPredicate predicate;
  const std::string start = "self BEGINSWITH", end = " %@";
  if (arguments.size() != 1 || !format.starts_with(start) || !format.ends_with(end)) return predicate;
  const std::string modifiers = format.substr(start.size(), format.size() - start.size() - end.size());
  if (!modifiers.empty() && modifiers != "[c]" && modifiers != "[d]" && modifiers != "[cd]") return predicate;
  predicate.prefix_ = arguments[0];
  predicate.ignoresCase_ = modifiers.find('c') != std::string::npos;
  predicate.ignoresDiacritics_ = modifiers.find('d') != std::string::npos;
  return predicate;
}

bool NSPredicate::evaluateWithObject(const std::string& text) const {
  const icu::UnicodeString prefix = compared(prefix_, ignoresCase_, ignoresDiacritics_);
  return !prefix.isEmpty() && compared(text, ignoresCase_, ignoresDiacritics_).startsWith(prefix);
}
