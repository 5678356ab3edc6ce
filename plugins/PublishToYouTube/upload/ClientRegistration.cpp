#include "plugins/PublishToYouTube/upload/ClientRegistration.h"

#include "platform/Foundation/Environment.h"
#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PersonFolders.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

namespace publishing {

namespace {

constexpr qint64 largestFile = qint64(64) * 1024;
constexpr const char* example = R"({ "client_id": "...", "client_secret": "..." })";

/// As people write paths below their home folder.
std::string shortPath(const std::string& path) {
  const std::string folder = homeFolder() + "/";
  return path.starts_with(folder) ? "~/" + path.substr(folder.size()) : path;
}

NSErrorPtr unusable(const std::string& path, const std::string& what) {
  // Path and content stand on lines of their own: broken in the middle they can't be read.
  return publishingError(
      PublishingErrorCode::NoClient,
      localized(
          "Publishing needs your own client identifier for the video service. %@ Register a desktop application in "
          "the service's developer console and save the file that it offers in this place:",
          {what}) +
          "\n" + shortPath(path) + "\n" + localized("Or write that file yourself:") + "\n" + example + "\n" +
          localized("Then publish again."));
}

}  // namespace

std::string ClientRegistration::defaultPath() {
  return configurationFolder() + "/publishing.json";
}

std::optional<ClientRegistration> ClientRegistration::load(const std::string& path, NSErrorPtr* error) {
  const auto fail = [&](const std::string& what) {
    *error = unusable(path, what);
    return std::nullopt;
  };
  QFile file(QString::fromStdString(path));
  if (!file.exists()) return fail(localized("The file with it is missing."));
  if (!file.open(QIODevice::ReadOnly)) return fail(localized("The file with it can't be opened."));
  const QByteArray content = file.read(largestFile);
  QJsonParseError failure;
  const QJsonDocument document = QJsonDocument::fromJson(content, &failure);
  if (!document.isObject()) {
    const auto line = content.left(failure.offset).count('\n') + 1;
    return fail(localized("The file with it is not valid JSON (line %@).", {numberText(line)}));
  }
  QJsonObject object = document.object();
  if (object["installed"].isObject()) object = object["installed"].toObject();
  if (object.contains("web") && !object.contains("client_id"))
    return fail(localized("The one in the file is for a web site, not for a desktop application."));
  ClientRegistration client{object["client_id"].toString().trimmed().toStdString(),
                            object["client_secret"].toString().trimmed().toStdString()};
  if (client.identifier.empty() || client.identifier == "...")
    return fail(localized("The file with it has no client_id."));
  if (client.secret == "...") client.secret.clear();
  return client;
}

}  // namespace publishing
