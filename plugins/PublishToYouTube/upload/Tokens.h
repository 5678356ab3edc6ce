#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace publishing {

/// What a sign-in brings. Never to be written to a log or an error's text.
struct Tokens {
  std::string access;        ///< goes with each request
  std::string refresh;       ///< brings a new access token; empty when the service gave none
  std::int64_t expires = 0;  ///< when the access token ends, in seconds since 1970; 0 when that is not known

  std::string json() const;
  static std::optional<Tokens> fromJson(const std::string& text);
};

}  // namespace publishing
