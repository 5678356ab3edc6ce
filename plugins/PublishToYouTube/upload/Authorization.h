#pragma once

#include "platform/Foundation/NSError.h"
#include "plugins/PublishToYouTube/upload/SignIn.h"
#include "plugins/PublishToYouTube/upload/TokenStore.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace publishing {

/// Has an access token at hand for each request: from the last use, renewed before it ends or when the service refuses
/// it, or from a sign-in in the person's browser. Main queue only. Nothing comes after the object is gone.
class Authorization : public std::enable_shared_from_this<Authorization> {
 public:
  struct Settings {
    ServiceAddresses addresses;
    ClientRegistration client;
    TokenStore::Place place;
    double signInSeconds = 600;  ///< that a person has in the browser
    std::function<void(const std::string& address)> openPage;
    std::function<void()> signedIn;  ///< the person has been in the browser, and it worked
  };
  /// A token, or an error. ConnectionLost may go away by itself; all others need the person.
  using Handler = std::function<void(const std::string& token, const NSErrorPtr& error)>;

  explicit Authorization(Settings settings);

  /// One call at a time. The handler always comes later.
  void accessToken(Handler handler);
  /// The service said 401 to the token that was given last: the next call renews it, then asks the person. Returns an
  /// error when even a fresh sign-in was refused.
  NSErrorPtr refuse();
  /// That error, for whoever has seen enough refusals.
  static NSErrorPtr refusal();
  /// The service took the token that was given last.
  void accept() { source_ = Source::Accepted; }

 private:
  enum class Source { Accepted, Stored, Renewed, SignedIn };
  void provide();
  void renew();
  void signIn();
  void answer(const std::string& token, const NSErrorPtr& error);

  Settings settings_;
  TokenStore store_;
  std::unique_ptr<SignIn> exchange_;
  std::optional<Tokens> tokens_;
  bool loaded_ = false;
  Source source_ = Source::Stored;
  Handler handler_;
};

}  // namespace publishing
