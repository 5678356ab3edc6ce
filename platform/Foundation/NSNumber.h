#pragma once

#include <cstddef>
#include <functional>

/// A boxed number; two are equal when their values are. Serves as a dictionary key.
class NSNumber {
 public:
  explicit NSNumber(double value = 0) : value_(value) {}
  double doubleValue() const { return value_; }
  friend bool operator==(const NSNumber& a, const NSNumber& b) { return a.value_ == b.value_; }
  friend bool operator<(const NSNumber& a, const NSNumber& b) { return a.value_ < b.value_; }

 private:
  double value_;
};

template <>
struct std::hash<NSNumber> {
  std::size_t operator()(const NSNumber& number) const { return std::hash<double>()(number.doubleValue()); }
};
