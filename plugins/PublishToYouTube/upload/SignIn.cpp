#include "plugins/PublishToYouTube/upload/SignIn.h"

#include "platform/Dispatch/dispatch.h"
#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"
#include "plugins/PublishToYouTube/upload/RedirectListener.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QCryptographicHash>
#include <QtCore/QDateTime>
#include <QtCore/QRandomGenerator>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetworkAuth/QOAuth2AuthorizationCodeFlow>

#include <array>
#include <chrono>
#include <utility>

namespace publishing {

namespace {

constexpr int answerTimeout = 30'000;  // milliseconds
constexpr std::chrono::seconds pageSeconds{2};

constexpr auto urlBase64 = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;

/// 43 characters with 256 random bits, as PKCE wants them at least.
QByteArray randomText() {
  std::array<quint32, 8> words;
  QRandomGenerator::system()->fillRange(words.data(), words.size());
  return QByteArray(reinterpret_cast<const char*>(words.data()), sizeof words).toBase64(urlBase64);
}

}  // namespace

/// All objects of one exchange.
struct SignIn::Attempt {
  std::unique_ptr<QNetworkAccessManager> manager = std::make_unique<QNetworkAccessManager>();
  QOAuth2AuthorizationCodeFlow* flow = nullptr;
  RedirectListener* listener = nullptr;  // the flow's
  Handler handler;
  std::string oldRefreshToken;

  /// Qt's flow hands answers to the listener unguarded, so the manager, which owns the requests, goes first. The flow
  /// with the listener stays a little longer: the browser may not have read its page yet.
  ~Attempt() {
    manager.reset();
    if (!flow) return;
    listener->close();
    QTimer::singleShot(pageSeconds, flow, &QObject::deleteLater);
  }

  /// Once, and later: we are called from inside the objects that the handler may end.
  static void finish(const std::weak_ptr<Attempt>& weak, const Tokens& tokens, const NSErrorPtr& error, bool again) {
    dispatch_async(dispatch_get_main_queue(), [weak, tokens, error, again] {
      const auto attempt = weak.lock();
      if (!attempt || !attempt->handler) return;
      attempt->listener->close();
      std::exchange(attempt->handler, nullptr)(tokens, error, again);
    });
  }
};

SignIn::SignIn(ServiceAddresses addresses, ClientRegistration client)
    : addresses_(std::move(addresses)), client_(std::move(client)) {}

SignIn::~SignIn() = default;

void SignIn::begin(const std::string& state, const std::string& refreshToken, Handler handler) {
  attempt_ = std::make_shared<Attempt>();
  const std::weak_ptr<Attempt> weak = attempt_;
  attempt_->handler = std::move(handler);
  attempt_->oldRefreshToken = refreshToken;
  attempt_->manager->setTransferTimeout(answerTimeout);
  attempt_->manager->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
  attempt_->flow = new QOAuth2AuthorizationCodeFlow(attempt_->manager.get(), QCoreApplication::instance());
  QOAuth2AuthorizationCodeFlow& flow = *attempt_->flow;

  RedirectListener::Events events;
  events.refused = [weak](const NSErrorPtr& error) { Attempt::finish(weak, {}, error, false); };
  events.failed = [weak](const NSErrorPtr& error, bool gone) { Attempt::finish(weak, {}, error, gone); };
  events.tokens = [weak, refreshToken](const QVariantMap& answer) {
    Tokens tokens{answer["access_token"].toString().toStdString(), answer["refresh_token"].toString().toStdString(), 0};
    if (tokens.refresh.empty()) tokens.refresh = refreshToken;
    if (const qint64 seconds = answer["expires_in"].toLongLong(); seconds > 0)
      tokens.expires = QDateTime::currentSecsSinceEpoch() + seconds;
    Attempt::finish(weak, tokens, nullptr, false);
  };
  attempt_->listener = new RedirectListener(QString::fromStdString(state), std::move(events), &flow);
  flow.setReplyHandler(attempt_->listener);
  flow.setAuthorizationUrl(QUrl(QString::fromStdString(addresses_.authorization)));
  flow.setAccessTokenUrl(QUrl(QString::fromStdString(addresses_.token)));
  flow.setScope(QString::fromStdString(addresses_.scope));
  flow.setClientIdentifier(QString::fromStdString(client_.identifier));
  if (!state.empty()) flow.setState(QString::fromStdString(state));

  // This version of Qt has no PKCE of its own, and sends values as they are, also those that need encoding.
  const QByteArray verifier = randomText();
  flow.setModifyParametersFunction([verifier, refreshToken, client = client_, listener = attempt_->listener](
                                       QAbstractOAuth::Stage stage, QMultiMap<QString, QVariant>* parameters) {
    const auto set = [&](const char* name, const QString& value) {
      parameters->remove(name);
      parameters->insert(name, QString::fromLatin1(QUrl::toPercentEncoding(value)));
    };
    set("client_id", QString::fromStdString(client.identifier));
    parameters->remove("client_secret");
    if (stage == QAbstractOAuth::Stage::RequestingAuthorization) {
      const QByteArray challenge = QCryptographicHash::hash(verifier, QCryptographicHash::Sha256).toBase64(urlBase64);
      set("redirect_uri", listener->callback());
      set("code_challenge", QString::fromLatin1(challenge));
      set("code_challenge_method", "S256");
      set("access_type", "offline");  // a refresh token, please
      return;
    }
    if (!client.secret.empty()) set("client_secret", QString::fromStdString(client.secret));
    if (stage == QAbstractOAuth::Stage::RequestingAccessToken) {
      set("code", listener->code());
      set("redirect_uri", listener->callback());
      set("code_verifier", QString::fromLatin1(verifier));
    } else {
      parameters->remove("redirect_uri");
      set("refresh_token", QString::fromStdString(refreshToken));
    }
  });
}

void SignIn::signIn(double seconds, const std::function<void(const std::string& address)>& open, Handler handler) {
  begin(randomText().toStdString(), {}, std::move(handler));
  const std::weak_ptr<Attempt> weak = attempt_;
  if (!attempt_->listener->isListening()) {
    return Attempt::finish(
        weak, {},
        publishingError(PublishingErrorCode::SignInRefused,
                        localized("Zevanti can't wait for your browser's answer: this computer gives it no port on "
                                  "127.0.0.1. Close some programs and publish again.")),
        false);
  }
  dispatch_after(seconds, dispatch_get_main_queue(), [weak] {
    Attempt::finish(
        weak, {},
        publishingError(
            PublishingErrorCode::SignInAbandoned,
            localized("Nobody signed in to the video service in the browser. Publish again to be asked once more.")),
        false);
  });
  QObject::connect(attempt_->flow, &QAbstractOAuth::authorizeWithBrowser, attempt_->flow,
                   [open](const QUrl& address) { open(address.toEncoded().toStdString()); });
  attempt_->flow->grant();
}

void SignIn::renew(const std::string& refreshToken, Handler handler) {
  begin({}, refreshToken, std::move(handler));
  attempt_->flow->setRefreshToken(QString::fromStdString(refreshToken));
  attempt_->flow->refreshAccessToken();
}

}  // namespace publishing
