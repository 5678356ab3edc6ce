#pragma once

#include <string>
#include <vector>

/// A condition on one text. Of the platform's language for conditions: "self BEGINSWITH %@" with the modifiers [c]
/// (whatever the case), [d] (whatever the diacritics) and [cd], which is what the system asks for.
class NSPredicate {
 public:
  /// `format` with its "%@" standing for the first of `arguments`. A format that is not one of the above is a
  /// programming error, and its predicate is true of nothing.
  static NSPredicate predicateWithFormat(const std::string& format, const std::vector<std::string>& arguments);

  /// Whether the condition holds for `text` (UTF-8; what is no UTF-8 never matches). No text begins with an empty one.
  /// Any thread.
  bool evaluateWithObject(const std::string& text) const;

 private:
  std::string prefix_;
  bool ignoresCase_ = false;
  bool ignoresDiacritics_ = false;
};
