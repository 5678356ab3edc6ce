#pragma once

#include "platform/Foundation/NSError.h"

#include <QtNetworkAuth/QOAuthHttpServerReplyHandler>

#include <functional>
#include <string>

namespace publishing {

/// Waits on a random port of 127.0.0.1 for the browser to come back from the service's page, tells the person there how
/// it went, and reads the service's answers about tokens. What comes without the state that was sent is refused, and
/// the listener goes on waiting: any page in any browser can send something here.
class RedirectListener : public QOAuthHttpServerReplyHandler {
 public:
  struct Events {
    std::function<void(NSErrorPtr)> refused;                   ///< the browser came back without a code
    std::function<void(const QVariantMap& answer)> tokens;     ///< the service's answer to a request for tokens
    std::function<void(NSErrorPtr, bool grantIsGone)> failed;  ///< no tokens; whether signing in again would help
  };

  /// Listens only with a state: without one it is there for answers about tokens alone.
  RedirectListener(QString state, Events events, QObject* parent);

  /// What the browser brought, decoded; empty before.
  const QString& code() const { return code_; }

 protected:
  void networkReplyFinished(QNetworkReply* reply) override;

 private:
  void receive(const QVariantMap& values);

  QString state_, code_;
  Events events_;
};

}  // namespace publishing
