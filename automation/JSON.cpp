#include "automation/JSON.h"

#include "platform/Foundation/ShownText.h"
#include "platform/Foundation/UTF8.h"

#include <charconv>
#include <cmath>

namespace {

template <class Number>
std::string number(Number value) {
  if (!std::isfinite(value)) return "null";
  char text[64];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

}  // namespace

std::string jsonString(const std::string& text) {
  static const char* const kDigits = "0123456789abcdef";
  std::string out = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const auto [code, length] = UTF8CharacterAt(text, at);
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
    } else if (!isPrintable(code)) {  // whoever looks at it sees it, too
      out += "\\u";
      for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[code >> shift & 15];
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
