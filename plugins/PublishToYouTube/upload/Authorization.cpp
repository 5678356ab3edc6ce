#include "plugins/PublishToYouTube/upload/Authorization.h"

#include "platform/Dispatch/dispatch.h"
#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"

#include <ctime>
#include <utility>

namespace publishing {

namespace {

constexpr std::int64_t renewBefore = 60;  // seconds: a token must live for the request that it goes with

bool isUsable(const Tokens& tokens) {
  return !tokens.access.empty() && (tokens.expires == 0 || tokens.expires - std::time(nullptr) > renewBefore);
}

}  // namespace

Authorization::Authorization(Settings settings) : settings_(std::move(settings)), store_(settings_.place) {}

void Authorization::accessToken(Handler handler) {
  handler_ = std::move(handler);
  const std::weak_ptr<Authorization> weak = weak_from_this();
  if (loaded_) {
    dispatch_async(dispatch_get_main_queue(), [weak] {
      if (const auto self = weak.lock()) self->provide();
    });
    return;
  }
  store_.load([weak](const std::optional<Tokens>& tokens) {
    const auto self = weak.lock();
    if (!self) return;
    self->loaded_ = true;
    self->tokens_ = tokens;
    self->provide();
  });
}

void Authorization::provide() {
  if (tokens_ && isUsable(*tokens_)) return answer(tokens_->access, nullptr);
  if (tokens_ && !tokens_->refresh.empty()) return renew();
  signIn();
}

void Authorization::renew() {
  exchange_ = std::make_unique<SignIn>(settings_.addresses, settings_.client);
  exchange_->renew(tokens_->refresh, [this](const Tokens& tokens, const NSErrorPtr& error, bool signInAgain) {
    if (error && signInAgain) {
      store_.clear();
      tokens_.reset();
      return signIn();
    }
    if (error) return answer({}, error);
    tokens_ = tokens;
    source_ = Source::Renewed;
    store_.save(tokens);
    answer(tokens.access, nullptr);
  });
}

void Authorization::signIn() {
  exchange_ = std::make_unique<SignIn>(settings_.addresses, settings_.client);
  const auto done = [this](const Tokens& tokens, const NSErrorPtr& error, bool) {
    if (error) return answer({}, error);
    tokens_ = tokens;
    source_ = Source::SignedIn;
    store_.save(tokens);
    const std::weak_ptr<Authorization> weak = weak_from_this();
    settings_.signedIn();
    if (const auto self = weak.lock()) answer(tokens.access, nullptr);
  };
  exchange_->signIn(settings_.signInSeconds, settings_.openPage, done);
}

void Authorization::answer(const std::string& token, const NSErrorPtr& error) {
  if (handler_) std::exchange(handler_, nullptr)(token, error);
}

NSErrorPtr Authorization::refusal() {
  return publishingError(PublishingErrorCode::SignInRefused,
                         localized("The video service did not accept the sign-in that it had just given. Check at "
                                   "the service that your client may upload videos, then publish again."));
}

NSErrorPtr Authorization::refuse() {
  if (!tokens_) return nullptr;
  switch (source_) {
    case Source::SignedIn:
      return refusal();
    case Source::Renewed:  // a renewed token was no better: the sign-in itself is no good any more
      store_.clear();
      tokens_.reset();
      break;
    case Source::Accepted:
    case Source::Stored:
      tokens_->access.clear();
      break;
  }
  return nullptr;
}

}  // namespace publishing
