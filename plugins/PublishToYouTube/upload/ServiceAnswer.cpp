#include "plugins/PublishToYouTube/upload/ServiceAnswer.h"

#include "plugins/PublishToYouTube/upload/LocalizedText.h"
#include "plugins/PublishToYouTube/upload/PublishingError.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLocale>
#include <QtCore/QTimeZone>

#include <algorithm>
#include <charconv>
#include <ctime>

#include <curl/curl.h>

namespace publishing {

namespace {

constexpr int hoursUntilMore = 24;  // the service counts the videos of an account by the day

QJsonObject errorOf(const HttpTransfer::Answer& answer) {
  return QJsonDocument::fromJson(QByteArray::fromStdString(answer.body)).object()["error"].toObject();
}

/// The service's word for what is wrong.
std::string reasonOf(const HttpTransfer::Answer& answer) {
  return errorOf(answer)["errors"][0]["reason"].toString().toStdString();
}

/// The service's own sentence, without markup and control characters, and not too long.
std::string messageOf(const HttpTransfer::Answer& answer) {
  const QString message = errorOf(answer)["message"].toString();
  QString text;
  bool inTag = false;
  for (const QChar character : message) {
    if (character == '<') inTag = true;
    if (!inTag) text += character.isPrint() ? character : QChar(' ');
    if (character == '>') inTag = false;
  }
  return text.simplified().left(300).toStdString();
}

}  // namespace

std::optional<std::int64_t> receivedBytes(const HttpTransfer::Answer& answer, std::int64_t sent) {
  const auto header = answer.headers.find("range");
  if (header == answer.headers.end()) return 0;
  const std::string& range = header->second;
  constexpr std::string_view start = "bytes=0-";
  if (!range.starts_with(start)) return std::nullopt;
  std::int64_t last = 0;
  const char* end = range.data() + range.size();
  const auto [rest, error] = std::from_chars(range.data() + start.size(), end, last);
  if (error != std::errc() || rest != end || last < 0 || last >= sent) return std::nullopt;
  return last + 1;
}

std::optional<std::string> videoIdentifier(const HttpTransfer::Answer& answer) {
  const std::string identifier =
      QJsonDocument::fromJson(QByteArray::fromStdString(answer.body)).object()["id"].toString().toStdString();
  const bool plain = std::all_of(identifier.begin(), identifier.end(),
                                 [](unsigned char c) { return std::isalnum(c) || c == '-' || c == '_'; });
  if (identifier.empty() || identifier.size() > 64 || !plain) return std::nullopt;
  return identifier;
}

std::optional<double> retryAfter(const HttpTransfer::Answer& answer) {
  const auto header = answer.headers.find("retry-after");
  if (header == answer.headers.end()) return std::nullopt;
  bool isNumber = false;
  if (const double seconds = QString::fromStdString(header->second).toDouble(&isNumber); isNumber)
    return seconds >= 0 ? std::optional(seconds) : std::nullopt;
  const time_t time = curl_getdate(header->second.c_str(), nullptr);
  if (time < 0) return std::nullopt;
  return std::max(0.0, std::difftime(time, std::time(nullptr)));
}

bool isTemporary(const HttpTransfer::Answer& answer) {
  if (answer.status == 408 || answer.status == 429 || answer.status >= 500) return true;
  const std::string reason = answer.status == 403 ? reasonOf(answer) : std::string();
  return reason == "rateLimitExceeded" || reason == "userRateLimitExceeded";
}

bool isAboutAccount(const HttpTransfer::Answer& answer) {
  return reasonOf(answer) == "youtubeSignupRequired";
}

std::string nextAllowance() {
  const QTimeZone zone("America/Los_Angeles");
  if (!zone.isValid()) return {};
  const QDate tomorrow = QDateTime::currentDateTimeUtc().toTimeZone(zone).date().addDays(1);
  const QTime time = tomorrow.startOfDay(zone).toLocalTime().time();
  const QLocale locale;  // of which C would add seconds
  return (locale.language() == QLocale::C ? time.toString("HH:mm") : locale.toString(time, QLocale::ShortFormat))
      .toStdString();
}

NSErrorPtr refusal(const HttpTransfer::Answer& answer) {
  using Code = PublishingErrorCode;
  const std::string reason = reasonOf(answer), message = messageOf(answer);
  if (reason == "quotaExceeded" || reason == "dailyLimitExceeded") {
    const std::string time = nextAllowance();
    return publishingError(
        Code::QuotaExceeded,
        localized("The video was not published: your client identifier has used up what the video service lets it do "
                  "in a day. Publish again after %@, when the service starts to count anew.",
                  {time.empty() ? localized("midnight in California") : time}));
  }
  if (reason == "uploadLimitExceeded") {
    return publishingError(Code::QuotaExceeded,
                           localized("The video was not published: your account has published as many videos as the "
                                     "service takes for now. Publish again in %@ hours.",
                                     {numberText(hoursUntilMore)}));
  }
  if (isAboutAccount(answer)) {
    return publishingError(Code::Refused, localized("Your account can't publish videos yet. Open the video service in "
                                                    "a browser, create a channel there, then publish again."));
  }
  if (reason == "accessNotConfigured") {
    return publishingError(Code::Refused, localized("Your client identifier may not publish videos yet. Switch uploads "
                                                    "on for it where you registered it, then publish again."));
  }
  const std::string status = std::to_string(answer.status);
  return publishingError(
      Code::Refused,
      message.empty() ? localized("The video service refused the video (answer %@).", {status})
                      : localized("The video service refused the video (answer %@), and says: %@", {status, message}));
}

}  // namespace publishing
