#include "plugins/PublishToYouTube/upload/VideoDetails.h"

#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

namespace publishing {

namespace {

constexpr int mostTitle = 100, mostDescription = 5000, mostTags = 500;

bool hasAngleBrackets(const std::string& text) {
  return text.find_first_of("<>") != std::string::npos;
}

qsizetype characters(const std::string& text) {
  return QString::fromStdString(text).toUcs4().size();
}

NSErrorPtr wrong(const std::string& text) {
  return publishingError(PublishingErrorCode::WrongDetails, text);
}

}  // namespace

std::vector<std::string> tagsInLine(const std::string& line) {
  std::vector<std::string> tags;
  QStringList known;
  for (const QString& part : QString::fromStdString(line).split(QLatin1Char(','))) {
    const QString tag = part.trimmed();
    if (tag.isEmpty() || known.contains(tag, Qt::CaseInsensitive)) continue;
    known.append(tag);
    tags.push_back(tag.toStdString());
  }
  return tags;
}

NSErrorPtr VideoDetails::check() const {
  if (QString::fromStdString(title).trimmed().isEmpty()) return wrong(localized("The video needs a title."));
  if (characters(title) > mostTitle)
    return wrong(localized("The title is too long: it may have %@ characters.", {numberText(mostTitle)}));
  if (hasAngleBrackets(title)) return wrong(localized("The title may not contain the characters < and >."));
  if (description.size() > std::size_t(mostDescription))
    return wrong(localized("The description is too long: it may have %@ bytes.", {numberText(mostDescription)}));
  if (hasAngleBrackets(description)) return wrong(localized("The description may not contain the characters < and >."));
  qsizetype tagCharacters = 0;
  for (const std::string& tag : tags) {
    if (hasAngleBrackets(tag)) return wrong(localized("A tag may not contain the characters < and >."));
    tagCharacters += characters(tag) + 1 + (tag.find(' ') != std::string::npos ? 2 : 0);
  }
  if (tagCharacters > mostTags + 1)
    return wrong(localized("The tags are too long: together they may have %@ characters.", {numberText(mostTags)}));
  return nullptr;
}

std::string VideoDetails::json() const {
  QJsonArray tagList;
  for (const std::string& tag : tags) tagList.append(QString::fromStdString(tag));
  QJsonObject snippet{{"title", QString::fromStdString(title)}, {"description", QString::fromStdString(description)}};
  if (!categoryIdentifier.empty()) snippet["categoryId"] = QString::fromStdString(categoryIdentifier);
  if (!tags.empty()) snippet["tags"] = tagList;
  const char* privacy = visibility == Visibility::Public     ? "public"
                        : visibility == Visibility::Unlisted ? "unlisted"
                                                             : "private";
  const QJsonObject status{{"privacyStatus", privacy}, {"selfDeclaredMadeForKids", madeForChildren}};
  return QJsonDocument(QJsonObject{{"snippet", snippet}, {"status", status}})
      .toJson(QJsonDocument::Compact)
      .toStdString();
}

std::optional<VideoDetails> VideoDetails::fromJson(const std::string& text) {
  const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(text)).object();
  const QJsonObject snippet = object["snippet"].toObject(), status = object["status"].toObject();
  if (snippet.isEmpty() || status.isEmpty()) return std::nullopt;
  VideoDetails details;
  details.title = snippet["title"].toString().toStdString();
  details.description = snippet["description"].toString().toStdString();
  details.categoryIdentifier = snippet["categoryId"].toString().toStdString();
  const QJsonArray tags = snippet["tags"].toArray();
  for (const auto tag : tags) details.tags.push_back(tag.toString().toStdString());
  const QString privacy = status["privacyStatus"].toString();
  if (privacy == QStringLiteral("public")) details.visibility = Visibility::Public;
  if (privacy == QStringLiteral("unlisted")) details.visibility = Visibility::Unlisted;
  details.madeForChildren = status["selfDeclaredMadeForKids"].toBool();
  return details;
}

}  // namespace publishing
