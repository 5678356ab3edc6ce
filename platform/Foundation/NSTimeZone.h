#pragma once

#include <optional>
#include <string>

/// A time zone by name.
class NSTimeZone {
 public:
  /// The zone named `name` ("Europe/Rome"), or nothing when no zone has that name.
  static std::optional<NSTimeZone> timeZoneWithName(const std::string& name);
  const std::string& name() const { return name_; }

 private:
  explicit NSTimeZone(std::string name) : name_(std::move(name)) {}
  std::string name_;
};
