#pragma once

#include <cstdint>
#include <string>

/// Numbers of bytes as a person reads them.
class NSByteCountFormatter {
 public:
  /// "12 MB", with one digit after the decimal sign below ten of anything but bytes: "1.5 MB". Units are powers of
  /// 1000. In the person's language. UTF-8.
  static std::string stringFromByteCount(std::int64_t bytes);
};
