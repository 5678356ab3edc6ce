#pragma once

#include "platform/Foundation/NSObject.h"

#include <optional>
#include <string>
#include <vector>

/// The store record of an application.
class ZVStoreInfo : public NSObject {
 public:
  /// The identifier that was asked for.
  const std::string& bundleID() const { return bundleID_; }
  void setBundleID(std::string bundleID) { bundleID_ = std::move(bundleID); }
  /// The application's name as the store shows it.
  const std::string& appName() const { return appName_; }
  void setAppName(std::string appName) { appName_ = std::move(appName); }
  /// The developer.
  const std::string& author() const { return author_; }
  void setAuthor(std::string author) { author_ = std::move(author); }
  /// The web address of the application's page.
  const std::string& itemURL() const { return itemURL_; }
  void setItemURL(std::string itemURL) { itemURL_ = std::move(itemURL); }
  /// The genres; nothing when the store has none.
  const std::optional<std::vector<std::string>>& categories() const { return categories_; }
  void setCategories(std::optional<std::vector<std::string>> categories) { categories_ = std::move(categories); }

 private:
  std::string bundleID_, appName_, author_, itemURL_;
  std::optional<std::vector<std::string>> categories_;
};
