#pragma once

#include <string>

/// The desktop's clipboard. Main queue only.
class UIPasteboard {
 public:
  static UIPasteboard& generalPasteboard();
  /// The text on the clipboard, or empty.
  std::string string() const;
  /// There at once, and still when this program has ended.
  void setString(const std::string& text);
};
