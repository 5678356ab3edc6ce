#include "tests/publishing/server/HttpRequest.h"

#include <QtCore/QList>
#include <QtCore/QUrl>

namespace publishing_test {

std::optional<HttpRequest> HttpRequest::parse(const QByteArray& head) {
  const QList<QByteArray> lines = head.split('\n');
  const QList<QByteArray> first = lines[0].trimmed().split(' ');
  if (first.size() != 3 || !first[2].startsWith("HTTP/1.")) return std::nullopt;
  HttpRequest request;
  request.method = first[0];
  const QUrl target = QUrl::fromEncoded(first[1]);
  request.path = target.path().toUtf8();
  request.query = QUrlQuery(target);
  for (qsizetype i = 1; i < lines.size(); ++i) {
    const qsizetype colon = lines[i].indexOf(':');
    if (colon > 0) request.headers[lines[i].left(colon).trimmed().toLower()] = lines[i].mid(colon + 1).trimmed();
  }
  if (request.headers.contains("transfer-encoding")) return std::nullopt;
  if (request.headers.contains("content-length")) {
    bool ok = false;
    request.bodySize = request.headers["content-length"].toLongLong(&ok);
    if (!ok || request.bodySize < 0) return std::nullopt;
  }
  return request;
}

QString HttpRequest::parameter(const char* name) const {
  return query.queryItemValue(QString::fromLatin1(name), QUrl::FullyDecoded);
}

QMap<QString, QString> parseForm(const QByteArray& body) {
  QMap<QString, QString> fields;
  for (const QByteArray& field : body.split('&')) {
    const qsizetype equals = field.indexOf('=');
    if (equals < 0) continue;
    const auto decoded = [](QByteArray text) {
      return QString::fromUtf8(QByteArray::fromPercentEncoding(text.replace('+', ' ')));
    };
    fields[decoded(field.left(equals))] = decoded(field.mid(equals + 1));
  }
  return fields;
}

}  // namespace publishing_test
