#include "platform/Foundation/NSURL.h"

#include <cctype>

NSURL NSURL::fileURLWithPath(std::string path) {
  NSURL url;
  url.path_ = std::move(path);
  return url;
}

std::string NSURL::lastPathComponent() const {
  const std::size_t end = path_.find_last_not_of('/');
  if (end == std::string::npos) return path_.empty() ? "" : "/";
  const std::size_t slash = path_.rfind('/', end);
  const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
  return path_.substr(begin, end - begin + 1);
}

std::string NSURL::absoluteString() const {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string text = "file://";
  for (const char character : path_) {
    const auto byte = static_cast<unsigned char>(character);
    if (std::isalnum(byte) || std::string_view("/-._~").find(character) != std::string_view::npos) {
      text += character;
    } else {
      text += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return text;
}
