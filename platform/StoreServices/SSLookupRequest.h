#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSObject.h"

#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

/// Look-ups in the store: what is publicly known of an application. Here the store is the software catalogue that the
/// machine keeps, so nothing ever goes over the network.

/// Key profile: facts about one product.
inline constexpr const char* SSLookupKeyProfileProduct = "product";
/// Request parameter: the identifiers that are asked for. Each is an application identifier ("org.example.Game"), with
/// or without ".desktop".
inline constexpr const char* SSLookupParameterBundleIdentifiers = "bundleIdentifiers";
/// Property of a response: its result items, one for each identifier that is known, in the order of the request.
inline constexpr const char* SSLookupPropertyResults = "results";
/// Properties of a result item; one that is not known is missing. Texts are in the person's language where the
/// catalogue has them in it.
inline constexpr const char* SSLookupPropertyShortProductURL = "shortProductURL";  ///< text: the product's home page
inline constexpr const char* SSLookupPropertyDisplayName = "displayName";          ///< text
inline constexpr const char* SSLookupPropertyArtistName = "artistName";            ///< text: the developer
inline constexpr const char* SSLookupPropertyGenreNames = "genreNames";            ///< list of texts: categories

inline constexpr const char* SSLookupErrorDomain = "SSLookupErrorDomain";

class SSLookupItem;

/// What a property can be; a missing one is the first alternative.
using SSLookupValue =
    std::variant<std::monostate, std::string, std::vector<std::string>, std::vector<Strong<SSLookupItem>>>;

/// One product.
class SSLookupItem : public NSObject {
 public:
  explicit SSLookupItem(std::map<std::string, SSLookupValue> values) : values_(std::move(values)) {}
  SSLookupValue valueForKey(const std::string& key) const;

 private:
  std::map<std::string, SSLookupValue> values_;
};

/// The store's answer.
class SSLookupResponse : public NSObject {
 public:
  explicit SSLookupResponse(std::vector<Strong<SSLookupItem>> results) : results_(std::move(results)) {}
  SSLookupValue valueForProperty(const std::string& property) const;

 private:
  std::vector<Strong<SSLookupItem>> results_;
};

/// One question to the store. May be made and started on any thread.
class SSLookupRequest : public NSObject {
 public:
  /// Called once, on a queue of the store. The response is null exactly when there is an error: the catalogue can't be
  /// read (code 1) or has not answered in `SSLookupTimeout` seconds (code 2).
  using LookupBlock = std::function<void(const Strong<SSLookupResponse>& response, NSErrorPtr error)>;

  /// Has the catalogue read in the background, so that the first request is answered at once. Any thread.
  static void prewarm();

  static Strong<SSLookupRequest> init() { return std::make_shared<SSLookupRequest>(); }
  void setKeyProfile(std::string profile) { keyProfile_ = std::move(profile); }
  void setLocalizationStyle(int style) { localizationStyle_ = style; }
  void setValue_forRequestParameter(std::vector<std::string> value, const std::string& parameter) {
    parameters_[parameter] = std::move(value);
  }
  /// Returns at once. The request may go away before the answer comes.
  void startWithLookupBlock(LookupBlock block);

 private:
  std::string keyProfile_;
  int localizationStyle_ = 0;
  std::map<std::string, std::vector<std::string>> parameters_;
};

/// Seconds after which a catalogue that is still being read counts as one without an answer. A catalogue of five
/// thousand applications that nobody has read before takes about one.
inline constexpr double SSLookupTimeout = 5;
