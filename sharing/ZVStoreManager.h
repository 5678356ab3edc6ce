#pragma once

#include "sharing/ZVStoreInfo.h"

#include <functional>

/// The page that stands in for an application's own when the store has none.
inline constexpr const char* ZVStoreDefaultItemURL = "https://flathub.org/";

/// Asks the store for what there is to know about the application that was recorded.
class ZVStoreManager : public NSObject {
 public:
  /// The one of this process. Any thread.
  static const Strong<ZVStoreManager>& sharedManager();

  /// Returns at once; `handler` is called once, later, on the main queue, with a record in which only the categories
  /// can be missing: placeholders stand for what the store does not know. Any thread; `handler` is not optional.
  void loadItemDetailsForBundleIdentifier_completionHandler(
      const std::string& bundleIdentifier, std::function<void(const Strong<ZVStoreInfo>& info)> handler);
};
