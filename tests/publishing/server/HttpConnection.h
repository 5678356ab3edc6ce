#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QUrlQuery>
#include <QtNetwork/QTcpSocket>

#include <optional>
#include <utility>

namespace publishing_test {

/// The head of a request: everything but its body.
struct HttpRequest {
  QByteArray method, path;
  QUrlQuery query;
  QMap<QByteArray, QByteArray> headers;  ///< names in lower case
  qint64 bodySize = 0;

  /// Reads a head, without the empty line at its end. Nothing when it isn't one, or its body is not counted.
  static std::optional<HttpRequest> parse(const QByteArray& head);
};

/// The value of a field in a query, decoded.
QString valueOf(const QUrlQuery& query, const char* name);

/// One connection from a client: reads requests one after the other and hands them on, bodies piece by piece.
class HttpConnection : public QObject {
 public:
  using Headers = QList<std::pair<QByteArray, QByteArray>>;
  class Handler {
   public:
    /// A request's head has arrived. Whoever answers at once is not given the body.
    virtual void begin(HttpConnection& connection, const HttpRequest& request) = 0;
    virtual void body(HttpConnection& connection, const char* data, qint64 size) = 0;
    virtual void end(HttpConnection& connection, const HttpRequest& request) = 0;
    virtual void closed(HttpConnection& connection) = 0;  ///< also in the middle of a request

   protected:
    ~Handler() = default;
  };

  /// Takes the socket over; deletes itself when the connection ends.
  HttpConnection(QTcpSocket* socket, Handler& handler, QObject* parent);

  void answer(int status, const Headers& headers = {}, const QByteArray& body = {});
  /// Ends the connection at once, without an answer.
  void cut();

 private:
  void read();
  bool readHead();
  void readBody();

  QTcpSocket* socket_;
  Handler& handler_;
  QByteArray head_;
  std::optional<HttpRequest> request_;
  qint64 bodyLeft_ = 0;
  bool answered_ = false, ended_ = false;
};

}  // namespace publishing_test
