#include "sharing/ZVStoreManager.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/StoreServices/SSLookupRequest.h"

#include <utility>

namespace {

/// The first result of a response; null without a response or results.
Strong<SSLookupItem> firstResult(const Strong<SSLookupResponse>& response) {
  if (!response) return nullptr;
  const SSLookupValue results = response->valueForProperty(SSLookupPropertyResults);
  const auto* items = std::get_if<std::vector<Strong<SSLookupItem>>>(&results);
  return items && !items->empty() ? items->front() : nullptr;
}

/// A property of an item; nothing without an item, or when it is of another kind.
template <class T>
std::optional<T> property(const Strong<SSLookupItem>& item, const char* key) {
  const SSLookupValue value = item ? item->valueForKey(key) : SSLookupValue();
  if (const T* held = std::get_if<T>(&value)) return *held;
  return {};
}

}  // namespace

const Strong<ZVStoreManager>& ZVStoreManager::sharedManager() {
  static dispatch_once_t once;
  static Strong<ZVStoreManager> manager;
  dispatch_once(once, [] { manager = std::make_shared<ZVStoreManager>(); });
  return manager;
}

void ZVStoreManager::loadItemDetailsForBundleIdentifier_completionHandler(
    const std::string& bundleIdentifier, std::function<void(const Strong<ZVStoreInfo>& info)> handler) {
  const auto request = SSLookupRequest::init();
  request->setKeyProfile(SSLookupKeyProfileProduct);
  request->setLocalizationStyle(1);
  request->setValue_forRequestParameter({bundleIdentifier}, SSLookupParameterBundleIdentifiers);
  request->startWithLookupBlock(
      [bundleIdentifier, handler = std::move(handler)](const Strong<SSLookupResponse>& response, const NSErrorPtr&) {
        const auto item = firstResult(response);
        const auto itemURL = property<std::string>(item, SSLookupPropertyShortProductURL);
        const auto appName = property<std::string>(item, SSLookupPropertyDisplayName);
        const auto author = property<std::string>(item, SSLookupPropertyArtistName);
        auto categories = property<std::vector<std::string>>(item, SSLookupPropertyGenreNames);

        const auto info = std::make_shared<ZVStoreInfo>();
        info->setBundleID(bundleIdentifier);
        info->setAppName(appName.value_or("[app store app name]"));
        info->setAuthor(author.value_or("[developer]"));
        info->setItemURL(itemURL.value_or(ZVStoreDefaultItemURL));
        info->setCategories(std::move(categories));
        dispatch_async(dispatch_get_main_queue(), [handler, info] { handler(info); });
      });
}
