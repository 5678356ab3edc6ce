#include "plugins/PublishToYouTube/upload/Tokens.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

namespace publishing {

std::string Tokens::json() const {
  return QJsonDocument(QJsonObject{{"access_token", QString::fromStdString(access)},
                                   {"refresh_token", QString::fromStdString(refresh)},
                                   {"expires", qint64(expires)}})
      .toJson(QJsonDocument::Compact)
      .toStdString();
}

std::optional<Tokens> Tokens::fromJson(const std::string& text) {
  const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(text)).object();
  const Tokens tokens{object["access_token"].toString().toStdString(), object["refresh_token"].toString().toStdString(),
                      object["expires"].toInteger()};
  if (tokens.access.empty() && tokens.refresh.empty()) return std::nullopt;
  return tokens;
}

}  // namespace publishing
