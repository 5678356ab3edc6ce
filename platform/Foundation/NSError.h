#pragma once

#include <memory>
#include <string>

/// A failure as a value: a domain, a code whose meaning the domain fixes, and a text for a person.
class NSError {
 public:
  NSError(std::string domain, int code, std::string localizedDescription)
      : domain_(std::move(domain)), code_(code), description_(std::move(localizedDescription)) {}

  const std::string& domain() const { return domain_; }
  int code() const { return code_; }
  const std::string& localizedDescription() const { return description_; }

  /// For the log: domain, code and text in one line.
  std::string description() const {
    return "Error Domain=" + domain_ + " Code=" + std::to_string(code_) + " \"" + description_ + "\"";
  }

  /// An error of `NSPOSIXErrorDomain` whose text is `what` followed by the system's own words for `errnoValue`.
  static std::shared_ptr<const NSError> posix(int errnoValue, const std::string& what);

 private:
  std::string domain_;
  int code_;
  std::string description_;
};

/// Null means no error.
using NSErrorPtr = std::shared_ptr<const NSError>;

inline constexpr const char* NSPOSIXErrorDomain = "NSPOSIXErrorDomain";
