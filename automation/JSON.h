#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

#include <string>
#include <vector>

/// Writes one JSON object on one line, in the order of the calls.
class JSONObject {
 public:
  JSONObject& add(const std::string& key, const std::string& text);
  JSONObject& add(const std::string& key, const char* text) { return add(key, std::string(text)); }
  JSONObject& add(const std::string& key, bool value);
  /// null when not finite.
  JSONObject& add(const std::string& key, double value);
  JSONObject& add(const std::string& key, int value);
  JSONObject& add(const std::string& key, const std::vector<std::string>& texts);
  JSONObject& add(const std::string& key, const std::vector<int>& values);
  /// [x, y, width, height]
  JSONObject& add(const std::string& key, const CGRect& frame);
  JSONObject& add(const std::string& key, const JSONObject& object);
  JSONObject& addNull(const std::string& key);

  std::string text() const { return "{" + members_ + "}"; }

 private:
  JSONObject& addRaw(const std::string& key, const std::string& value);
  std::string members_;
};

/// A JSON string with its quotes; bytes that are not UTF-8 become U+FFFD.
std::string jsonString(const std::string& text);
