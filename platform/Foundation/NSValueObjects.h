#pragma once

#include "platform/Foundation/NSObject.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

/// Values as objects, for where they travel by name: arguments and results of messages, instance variables. Everywhere
/// else plain C++ values do. None of them changes once it is made.

class NSString : public NSObject {
  ZV_OBJECT(NSString)
 public:
  explicit NSString(std::string text = {}) : text_(std::move(text)) {}
  static Strong<NSString> stringWithString(std::string text) { return std::make_shared<NSString>(std::move(text)); }
  const std::string& text() const { return text_; }  ///< UTF-8

 private:
  std::string text_;
};

class NSArray : public NSObject {
  ZV_OBJECT(NSArray)
 public:
  explicit NSArray(std::vector<Strong<NSObject>> objects = {}) : objects_(std::move(objects)) {}
  static Strong<NSArray> arrayWithObjects(std::vector<Strong<NSObject>> objects) {
    return std::make_shared<NSArray>(std::move(objects));
  }
  const std::vector<Strong<NSObject>>& objects() const { return objects_; }
  std::size_t count() const { return objects_.size(); }

 private:
  std::vector<Strong<NSObject>> objects_;
};

class NSDictionary : public NSObject {
  ZV_OBJECT(NSDictionary)
 public:
  explicit NSDictionary(std::map<std::string, Strong<NSObject>> entries = {}) : entries_(std::move(entries)) {}
  static Strong<NSDictionary> dictionaryWithObjects(std::map<std::string, Strong<NSObject>> entries) {
    return std::make_shared<NSDictionary>(std::move(entries));
  }
  /// Null for a missing key.
  Strong<NSObject> objectForKey(const std::string& key) const {
    const auto found = entries_.find(key);
    return found == entries_.end() ? nullptr : found->second;
  }
  /// The text under `key`; empty when there is none, or something else.
  std::string stringForKey(const std::string& key) const {
    const auto string = std::dynamic_pointer_cast<NSString>(objectForKey(key));
    return string ? string->text() : std::string();
  }

 private:
  std::map<std::string, Strong<NSObject>> entries_;
};
