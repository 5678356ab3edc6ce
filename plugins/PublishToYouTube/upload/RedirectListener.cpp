#include "plugins/PublishToYouTube/upload/RedirectListener.h"

#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkReply>

namespace publishing {

namespace {

/// Fields of an address as Qt hands them on, with what it leaves encoded.
QString decoded(const QVariant& value) {
  return QUrl::fromPercentEncoding(value.toString().toUtf8());
}

/// For the browser; each text takes the direction in which it is written.
QString page(const std::string& heading, const std::string& text) {
  return QStringLiteral("<h1 dir=\"auto\">%1</h1><p dir=\"auto\">%2</p>")
      .arg(QString::fromStdString(heading).toHtmlEscaped(), QString::fromStdString(text).toHtmlEscaped());
}

}  // namespace

RedirectListener::RedirectListener(QString state, Events events, QObject* parent)
    : QOAuthHttpServerReplyHandler(QHostAddress(QHostAddress::LocalHost), 0, parent),
      state_(std::move(state)),
      events_(std::move(events)) {
  if (state_.isEmpty()) close();
  // Connected before anybody else, and before the page is written.
  connect(this, &QAbstractOAuthReplyHandler::callbackReceived, this, [this](const QVariantMap& v) { receive(v); });
}

void RedirectListener::receive(const QVariantMap& values) {
  if (decoded(values["state"]) != state_) {
    setCallbackText(page(localized("This sign-in is not known"),
                         localized("It does not belong to a sign-in that Zevanti waits for, and was not used. Go back "
                                   "to Zevanti and sign in from there.")));
    return;
  }
  if (values.contains("error")) {
    const bool denied = decoded(values["error"]) == "access_denied";
    setCallbackText(
        page(localized("You are not signed in"),
             localized("Zevanti may not publish videos for you. You can close this page and go back to Zevanti.")));
    events_.refused(publishingError(
        PublishingErrorCode::SignInRefused,
        denied ? localized("You did not allow Zevanti to publish videos. Publish again to be asked once more.")
               : localized("The video service refused the sign-in. Check your client identifier at the service, then "
                           "publish again.")));
    return;
  }
  code_ = decoded(values["code"]);
  if (code_.isEmpty()) {
    setCallbackText(
        page(localized("Something is missing"),
             localized("The video service sent no sign-in. Go back to Zevanti and sign in again from there.")));
    events_.refused(publishingError(
        PublishingErrorCode::WrongAnswer,
        localized("The video service's page came back without a sign-in. Publish again to be asked once more.")));
    return;
  }
  setCallbackText(page(localized("Back to Zevanti"),
                       localized("You can close this page now. Your video is published from Zevanti.")));
}

void RedirectListener::networkReplyFinished(QNetworkReply* reply) {
  const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
  if (status == 0 || status >= 500 || status == 429) {
    const bool insecure = reply->error() == QNetworkReply::SslHandshakeFailedError;
    return events_.failed(
        insecure
            ? publishingError(PublishingErrorCode::InsecureConnection,
                              localized("The video service could not prove who it is, so nothing was sent. Check this "
                                        "computer's date and its network, then publish again."))
            : publishingError(
                  PublishingErrorCode::ConnectionLost,
                  localized("The video service does not answer the sign-in. Check your connection and publish again.")),
        false);
  }
  const QJsonObject answer = QJsonDocument::fromJson(reply->readAll()).object();
  const QString error = answer["error"].toString();
  if (status == 200 && !answer["access_token"].toString().isEmpty()) {
    const QVariantMap values = answer.toVariantMap();
    Q_EMIT tokensReceived(values);
    return events_.tokens(values);
  }
  if (error == "invalid_client" || error == "unauthorized_client") {
    return events_.failed(publishingError(PublishingErrorCode::SignInRefused,
                                          localized("The video service does not know your client identifier or its "
                                                    "secret. Check the file publishing.json, then publish again.")),
                          false);
  }
  if (!error.isEmpty()) {
    return events_.failed(
        publishingError(PublishingErrorCode::SignInRefused,
                        localized("The video service did not accept the sign-in. Publish again to sign in once more.")),
        error == "invalid_grant");
  }
  events_.failed(
      publishingError(PublishingErrorCode::WrongAnswer,
                      localized("The video service's answer to the sign-in can't be understood. Try again later.")),
      false);
}

}  // namespace publishing
