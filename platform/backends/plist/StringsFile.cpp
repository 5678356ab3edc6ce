#include "platform/backends/plist/StringsFile.h"

#include <plist/plist.h>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <optional>

namespace {

/// A binary property list. Its keys can hold zero bytes, over which the library's functions stumble when they are asked
/// for a key; the list's form as XML can't.
plist_t withoutZeros(const char* content, std::uint32_t size) {
  plist_t given = nullptr, result = nullptr;
  plist_from_bin(content, size, &given);
  if (!given) return nullptr;
  char* text = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(given, &text, &length);
  plist_free(given);
  if (text) plist_from_xml(text, length, &result);
  std::free(text);
  return result;
}

void collect(plist_t node, const std::string& prefix, std::map<std::string, std::string>& texts) {
  if (plist_get_node_type(node) == PLIST_STRING) {
    std::uint64_t length = 0;
    if (const char* value = plist_get_string_ptr(node, &length)) texts[prefix].assign(value, length);
    return;
  }
  if (plist_get_node_type(node) != PLIST_DICT) return;
  plist_dict_iter iterator = nullptr;
  plist_dict_new_iter(node, &iterator);
  while (true) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(node, iterator, &key, &value);
    if (!value) break;
    collect(value, prefix.empty() ? key : prefix + "." + key, texts);
    std::free(key);
  }
  std::free(iterator);
}

void appendUTF8(std::string& text, std::uint32_t character) {
  auto put = [&](std::uint32_t byte) { text += static_cast<char>(byte); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xC0 | character >> 6);
    put(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    put(0xE0 | character >> 12);
    put(0x80 | (character >> 6 & 0x3F));
    put(0x80 | (character & 0x3F));
  } else {
    put(0xF0 | character >> 18);
    put(0x80 | (character >> 12 & 0x3F));
    put(0x80 | (character >> 6 & 0x3F));
    put(0x80 | (character & 0x3F));
  }
}

/// Joins UTF-16 units, which arrive one by one, into characters.
class UTF16Joiner {
 public:
  explicit UTF16Joiner(std::string& text) : text_(text) {}
  void add(std::uint32_t unit) {
    if (unit >= 0xD800 && unit < 0xDC00) {
      high_ = unit;
    } else if (unit >= 0xDC00 && unit < 0xE000) {
      appendUTF8(text_, high_ ? 0x10000 + ((high_ - 0xD800) << 10) + (unit - 0xDC00) : 0xFFFD);
      high_ = 0;
    } else {
      appendUTF8(text_, unit);
    }
  }

 private:
  std::string& text_;
  std::uint32_t high_ = 0;
};

std::string toUTF8(std::string_view content) {
  if (content.substr(0, 3) == "\xEF\xBB\xBF") return std::string(content.substr(3));
  bool little = content.substr(0, 2) == "\xFF\xFE", big = content.substr(0, 2) == "\xFE\xFF";
  if (!little && !big) return std::string(content);
  std::string text;
  UTF16Joiner joiner(text);
  for (std::size_t i = 2; i + 1 < content.size(); i += 2) {
    auto first = static_cast<unsigned char>(content[i]), second = static_cast<unsigned char>(content[i + 1]);
    joiner.add(little ? first | second << 8 : first << 8 | second);
  }
  return text;
}

/// The classic text form.
class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  std::map<std::string, std::string> read() {
    std::map<std::string, std::string> texts;
    while (true) {
      auto key = word();
      if (!key || !take('=')) break;
      auto value = word();
      if (!value || !take(';')) break;
      texts[*key] = *value;
    }
    return texts;
  }

 private:
  void skipBlanks() {
    while (at_ < text_.size()) {
      std::string_view rest = text_.substr(at_);
      if (std::string_view(" \t\r\n").find(rest[0]) != std::string_view::npos) {
        ++at_;
      } else if (rest.substr(0, 2) == "/*") {
        std::size_t end = rest.find("*/", 2);
        at_ = end == std::string_view::npos ? text_.size() : at_ + end + 2;
      } else if (rest.substr(0, 2) == "//") {
        std::size_t end = rest.find('\n');
        at_ = end == std::string_view::npos ? text_.size() : at_ + end;
      } else {
        return;
      }
    }
  }

  bool take(char sign) {
    skipBlanks();
    if (at_ >= text_.size() || text_[at_] != sign) return false;
    ++at_;
    return true;
  }

  std::optional<std::string> word() {
    skipBlanks();
    std::string result;
    if (!take('"')) {
      // A bare word, as in `CFBundleName = "Zevanti";`.
      while (at_ < text_.size() && (std::isalnum(static_cast<unsigned char>(text_[at_])) || text_[at_] == '_' ||
                                    text_[at_] == '.' || text_[at_] == '-'))
        result += text_[at_++];
      if (result.empty()) return {};
      return result;
    }
    UTF16Joiner escaped(result);
    while (at_ < text_.size()) {
      char sign = text_[at_++];
      if (sign == '"') return result;
      if (sign != '\\') {
        result += sign;
      } else if (at_ < text_.size()) {
        escape(result, escaped);
      }
    }
    return {};
  }

  void escape(std::string& result, UTF16Joiner& escaped) {
    char sign = text_[at_++];
    if (sign == 'n') {
      result += '\n';
    } else if (sign == 't') {
      result += '\t';
    } else if (sign == 'r') {
      result += '\r';
    } else if (sign == 'U' || sign == 'u') {
      std::uint32_t unit = 0;
      for (int digits = 0; digits < 4 && at_ < text_.size() && std::isxdigit(static_cast<unsigned char>(text_[at_]));
           ++digits, ++at_)
        unit = unit << 4 | static_cast<std::uint32_t>(std::stoi(std::string(1, text_[at_]), nullptr, 16));
      escaped.add(unit);
    } else {
      result += sign;
    }
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

std::map<std::string, std::string> parsePropertyList(std::string_view content) {
  std::map<std::string, std::string> texts;
  bool binary = content.substr(0, 6) == "bplist";
  if (!binary && content.substr(0, 1024).find("<plist") == std::string_view::npos) return texts;
  plist_t root = nullptr;
  const auto size = static_cast<std::uint32_t>(content.size());
  if (binary) {
    root = withoutZeros(content.data(), size);
  } else {
    plist_from_xml(content.data(), size, &root);
  }
  if (!root) return texts;
  collect(root, "", texts);
  plist_free(root);
  return texts;
}

std::map<std::string, std::string> parseStringsFile(std::string_view content) {
  if (auto texts = parsePropertyList(content); !texts.empty()) return texts;
  std::string text = toUTF8(content);
  return Reader(text).read();
}
