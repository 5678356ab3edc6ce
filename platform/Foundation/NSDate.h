#pragma once

#include <optional>

/// A moment, as seconds since 1970-01-01 00:00 UTC.
class NSDate {
 public:
  explicit NSDate(double secondsSince1970) : seconds_(secondsSince1970) {}
  static NSDate date();  ///< now
  double timeIntervalSince1970() const { return seconds_; }

 private:
  double seconds_;
};
