#include "automation/JSON.h"

#include <charconv>
#include <cmath>

namespace {

template <class Number>
std::string number(Number value) {
  if (!std::isfinite(value)) return "null";
  char text[64];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

/// How many bytes the UTF-8 sequence at `at` has; 0 when there is none.
std::size_t sequenceLength(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const unsigned char first = byte(0);
  const std::size_t length = first < 0x80   ? 1
                             : first < 0xC2 ? 0
                             : first < 0xE0 ? 2
                             : first < 0xF0 ? 3
                             : first < 0xF5 ? 4
                                            : 0;
  if (length == 0 || at + length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  // Too long a form, half of a surrogate pair, beyond the last code point.
  if (length > 2) {
    if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) >= 0xA0) || (first == 0xF0 && byte(1) < 0x90) ||
        (first == 0xF4 && byte(1) >= 0x90)) {
      return 0;
    }
  }
  return length;
}

}  // namespace

std::string jsonString(const std::string& text) {
  static const char* const kDigits = "0123456789abcdef";
  std::string out = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceLength(text, at);
    const char c = text[at];
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      ++at;
      continue;
    }
    if (c == '"' || c == '\\') {
      (out += '\\') += c;
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (length == 1 && (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)) {
      out += "\\u00";
      out += kDigits[c >> 4];
      out += kDigits[c & 15];
    } else {
      out.append(text, at, length);
    }
    at += length;
  }
  return out + "\"";
}

JSONObject& JSONObject::addRaw(const std::string& key, const std::string& value) {
  if (!members_.empty()) members_ += ", ";
  members_ += jsonString(key) + ": " + value;
  return *this;
}

JSONObject& JSONObject::add(const std::string& key, const std::string& text) {
  return addRaw(key, jsonString(text));
}
JSONObject& JSONObject::add(const std::string& key, bool value) {
  return addRaw(key, value ? "true" : "false");
}
JSONObject& JSONObject::add(const std::string& key, double value) {
  return addRaw(key, number(value));
}
JSONObject& JSONObject::add(const std::string& key, int value) {
  return addRaw(key, std::to_string(value));
}
JSONObject& JSONObject::add(const std::string& key, const JSONObject& object) {
  return addRaw(key, object.text());
}
JSONObject& JSONObject::addNull(const std::string& key) {
  return addRaw(key, "null");
}

JSONObject& JSONObject::add(const std::string& key, const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + jsonString(text);
  return addRaw(key, "[" + list + "]");
}

JSONObject& JSONObject::add(const std::string& key, const CGRect& frame) {
  std::string list;
  for (const CGFloat value : {frame.origin.x, frame.origin.y, frame.size.width, frame.size.height}) {
    list += (list.empty() ? "" : ", ") + number(value);
  }
  return addRaw(key, "[" + list + "]");
}

JSONObject& JSONObject::add(const std::string& key, const std::vector<int>& values) {
  std::string list;
  for (const int value : values) list += (list.empty() ? "" : ", ") + std::to_string(value);
  return addRaw(key, "[" + list + "]");
}
