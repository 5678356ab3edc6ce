#pragma once

#include "platform/Foundation/NSError.h"
#include "plugins/PublishToYouTube/upload/ClientRegistration.h"
#include "plugins/PublishToYouTube/upload/ServiceAddresses.h"
#include "plugins/PublishToYouTube/upload/Tokens.h"

#include <functional>
#include <memory>
#include <string>

namespace publishing {

/// One sign-in in the person's own browser, or one renewal of an access token: OAuth 2 for installed applications, with
/// PKCE (S256) and a redirect to a random port of 127.0.0.1. Main queue only. Nothing comes after the object is gone.
class SignIn {
 public:
  /// Tokens, or an error. `signInAgain`: a renewal failed since the old sign-in has ended.
  using Handler = std::function<void(const Tokens& tokens, const NSErrorPtr& error, bool signInAgain)>;

  SignIn(ServiceAddresses addresses, ClientRegistration client);
  ~SignIn();
  SignIn(const SignIn&) = delete;
  SignIn& operator=(const SignIn&) = delete;

  /// Starts to listen and hands the page's address to `open`, at once. Fails with SignInAbandoned after `seconds`.
  void signIn(double seconds, const std::function<void(const std::string& address)>& open, Handler handler);
  /// Asks for a new access token; the tokens that come hold the old refresh token when the service sent no new one.
  void renew(const std::string& refreshToken, Handler handler);

 private:
  struct Attempt;
  void begin(const std::string& state, const std::string& refreshToken, Handler handler);

  ServiceAddresses addresses_;
  ClientRegistration client_;
  std::shared_ptr<Attempt> attempt_;
};

}  // namespace publishing
