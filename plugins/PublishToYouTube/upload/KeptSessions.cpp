#include "plugins/PublishToYouTube/upload/KeptSessions.h"

#include "platform/Foundation/os_trace.h"
#include "plugins/PublishToYouTube/upload/PrivateFile.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>

#include <sys/stat.h>

namespace publishing {

namespace {

constexpr std::int64_t longestAge = std::int64_t(6) * 24 * 3600;  // seconds

bool isTooOld(std::int64_t begun) {
  // From the future: a clock that has been put right since.
  return std::abs(std::time(nullptr) - begun) > longestAge;
}

QString hashOf(const std::string& text) {
  return QString::fromLatin1(
      QCryptographicHash::hash(QByteArray::fromStdString(text), QCryptographicHash::Sha256).toHex());
}

}  // namespace

/// A file's content.
struct KeptSessions::Entry {
  Session session;
  Kept kept;
};

/// What is kept of this movie, for this client and server, unless it is too old.
std::optional<KeptSessions::Entry> KeptSessions::read(const Upload& upload) const {
  sweep();
  const auto content = readPrivateFile(pathOf(upload.file));
  if (!content) return std::nullopt;
  const QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(*content)).object();
  const Entry entry{
      {object["session"].toString().toStdString(), object["begun"].toInteger()},
      {object["details"].toString().toStdString(), object["sent"].toInteger(), object["size"].toInteger()}};
  const bool isOurs = object["client"].toString() == hashOf(upload.client) &&
                      object["server"].toString().toStdString() == upload.server && !isTooOld(entry.session.begun) &&
                      !entry.session.address.empty();
  return isOurs ? std::optional(entry) : std::nullopt;
}

std::optional<KeptSessions::Session> KeptSessions::find(const Upload& upload) const {
  if (const auto entry = read(upload); entry && entry->kept.details == upload.details) return entry->session;
  drop(upload);
  return std::nullopt;
}

std::optional<KeptSessions::Kept> KeptSessions::findMovie(const Upload& upload) const {
  const auto entry = read(upload);
  return entry ? std::optional(entry->kept) : std::nullopt;
}

bool KeptSessions::areThere() const {
  std::error_code error;
  const std::filesystem::directory_iterator entry(folder_, error);
  return !error && entry != std::filesystem::directory_iterator();
}

void KeptSessions::keep(const Upload& upload, const Session& session, std::int64_t sentBytes,
                        std::int64_t totalBytes) const {
  const QJsonObject object{{"session", QString::fromStdString(session.address)},
                           {"details", QString::fromStdString(upload.details)},
                           {"client", hashOf(upload.client)},
                           {"server", QString::fromStdString(upload.server)},
                           {"sent", qint64(sentBytes)},
                           {"size", qint64(totalBytes)},
                           {"begun", qint64(session.begun)}};
  const int failure = writePrivateFile(pathOf(upload.file), QJsonDocument(object).toJson().toStdString());
  if (failure != 0) os_trace_error("Publishing: can't keep the upload for later: %s", std::strerror(failure));
}

void KeptSessions::drop(const Upload& upload) const {
  if (!upload.file.empty()) removePrivateFile(pathOf(upload.file));
}

void KeptSessions::sweep() const {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder_, error)) {
    struct stat status {};
    if (entry.path().extension() == ".json" && lstat(entry.path().c_str(), &status) == 0 &&
        isTooOld(status.st_mtim.tv_sec))
      removePrivateFile(entry.path().string());
  }
}

}  // namespace publishing
