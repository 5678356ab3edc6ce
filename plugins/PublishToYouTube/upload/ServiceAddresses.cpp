#include "plugins/PublishToYouTube/upload/ServiceAddresses.h"

#include "platform/Foundation/Environment.h"
#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"

#include <QtCore/QUrl>

namespace publishing {

namespace {

constexpr const char* uploadQuery = "?uploadType=resumable&part=snippet,status";

}  // namespace

ServiceAddresses ServiceAddresses::service() {
  return {"https://accounts.google.com/o/oauth2/v2/auth", "https://oauth2.googleapis.com/token",
          std::string("https://www.googleapis.com/upload/youtube/v3/videos") + uploadQuery,
          "https://www.youtube.com/watch?v=", "https://www.googleapis.com/auth/youtube.upload"};
}

std::optional<ServiceAddresses> ServiceAddresses::loopback(const std::string& base, NSErrorPtr* error) {
  const QUrl url(QString::fromStdString(base), QUrl::StrictMode);
  const bool plain = (url.path().isEmpty() || url.path() == "/") && !url.hasQuery() && !url.hasFragment() &&
                     url.userInfo().isEmpty() && (url.scheme() == "http" || url.scheme() == "https");
  if (!url.isValid() || !plain || !isLoopback(base)) {
    *error =
        publishingError(PublishingErrorCode::WrongServerAddress,
                        localized("The publishing server's address %@ can't be used: only a server on this computer "
                                  "can stand in for the video service, for example http://127.0.0.1:8080.",
                                  {base}));
    return std::nullopt;
  }
  const std::string origin = originOf(base);
  return ServiceAddresses{origin + "/authorize", origin + "/token", origin + "/upload/videos" + uploadQuery,
                          origin + "/watch?v=", "upload"};
}

std::optional<ServiceAddresses> ServiceAddresses::configured(NSErrorPtr* error) {
  const std::string base = environmentVariable("ZEVANTI_PUBLISHING_SERVER");
  return base.empty() ? service() : loopback(base, error);
}

std::string originOf(const std::string& address) {
  const QUrl url(QString::fromStdString(address));
  if (url.host().isEmpty()) return {};
  const QString host = url.host().contains(':') ? "[" + url.host() + "]" : url.host().toLower();
  return (url.scheme().toLower() + "://" + host + ":" + QString::number(url.port(url.scheme() == "https" ? 443 : 80)))
      .toStdString();
}

bool isLoopback(const std::string& address) {
  const QString host = QUrl(QString::fromStdString(address)).host().toLower();
  return host == "127.0.0.1" || host == "::1" || host == "localhost";
}

}  // namespace publishing
