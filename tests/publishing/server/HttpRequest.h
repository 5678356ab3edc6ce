#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QUrlQuery>

#include <optional>

namespace publishing_test {

/// The head of a request: everything but its body.
struct HttpRequest {
  QByteArray method, path;
  QUrlQuery query;
  QMap<QByteArray, QByteArray> headers;  ///< names in lower case
  qint64 bodySize = 0;

  /// Reads a head, without the empty line at its end. Nothing when it isn't one, or its body is not counted.
  static std::optional<HttpRequest> parse(const QByteArray& head);
  /// The value of a field in the query, decoded.
  QString parameter(const char* name) const;
};

/// The fields of a form's body, or of a query: `+` is a blank.
QMap<QString, QString> parseForm(const QByteArray& body);

}  // namespace publishing_test
