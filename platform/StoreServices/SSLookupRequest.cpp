#include "platform/StoreServices/SSLookupRequest.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/StoreServices/SSCatalogue.h"

#include <atomic>

namespace {

const dispatch_queue_t& storeQueue() {
  static const dispatch_queue_t queue = dispatch_queue_create("store");
  return queue;
}

Strong<SSLookupItem> makeItem(const SSCatalogue::Product& product) {
  std::map<std::string, SSLookupValue> values;
  auto add = [&](const char* key, const auto& value) {
    if (!value.empty()) values.emplace(key, value);
  };
  add(SSLookupPropertyShortProductURL, product.homepage);
  add(SSLookupPropertyDisplayName, product.name);
  add(SSLookupPropertyArtistName, product.developer);
  add(SSLookupPropertyGenreNames, product.categories);
  return std::make_shared<SSLookupItem>(std::move(values));
}

/// The first answer counts: the catalogue's, or that none has come.
class OneAnswer {
 public:
  explicit OneAnswer(SSLookupRequest::LookupBlock block) : block_(std::move(block)) {}
  bool isGiven() const { return given_; }
  void give(const Strong<SSLookupResponse>& response, const NSErrorPtr& error) {
    if (given_.exchange(true)) return;
    block_(response, error);
    block_ = nullptr;
  }

 private:
  std::atomic<bool> given_ = false;
  SSLookupRequest::LookupBlock block_;
};

}  // namespace

SSLookupValue SSLookupItem::valueForKey(const std::string& key) const {
  const auto value = values_.find(key);
  return value == values_.end() ? SSLookupValue() : value->second;
}

SSLookupValue SSLookupResponse::valueForProperty(const std::string& property) const {
  return property == SSLookupPropertyResults ? SSLookupValue(results_) : SSLookupValue();
}

void SSLookupRequest::prewarm() {
  dispatch_async(storeQueue(), [] { SSCatalogue::prepare(); });
}

void SSLookupRequest::startWithLookupBlock(LookupBlock block) {
  const auto answer = std::make_shared<OneAnswer>(std::move(block));
  dispatch_after(SSLookupTimeout, dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT), [answer] {
    if (answer->isGiven()) return;
    answer->give(nullptr, std::make_shared<NSError>(SSLookupErrorDomain, 2, "the software catalogue did not answer"));
  });
  const auto identifiers = parameters_[SSLookupParameterBundleIdentifiers];
  const bool understood = keyProfile_ == SSLookupKeyProfileProduct;
  dispatch_async(storeQueue(), [answer, identifiers, understood] {
    if (answer->isGiven()) return;  // waited behind a catalogue that was being read
    if (!SSCatalogue::isAvailable()) {
      answer->give(nullptr, std::make_shared<NSError>(SSLookupErrorDomain, 1, "there is no software catalogue"));
      return;
    }
    std::vector<Strong<SSLookupItem>> results;
    if (understood) {
      for (const std::string& identifier : identifiers)
        if (const auto product = SSCatalogue::find(identifier)) results.push_back(makeItem(*product));
    }
    answer->give(std::make_shared<SSLookupResponse>(std::move(results)), nullptr);
  });
}
