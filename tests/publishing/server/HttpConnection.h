#pragma once

#include "tests/publishing/server/HttpRequest.h"

#include <QtCore/QObject>
#include <QtNetwork/QTcpSocket>

#include <functional>
#include <optional>
#include <utility>

namespace publishing_test {

/// One connection from a client: reads requests one after the other and hands them on, bodies piece by piece.
class HttpConnection : public QObject {
 public:
  using Headers = QList<std::pair<QByteArray, QByteArray>>;
  struct Handler {
    /// A request's head has arrived. Whoever answers at once is not given the body.
    std::function<void(HttpConnection&, const HttpRequest&)> begin;
    std::function<void(HttpConnection&, const HttpRequest&, const char* data, qint64 size)> body;
    std::function<void(HttpConnection&, const HttpRequest&)> end;
    std::function<void(HttpConnection&)> closed;  ///< also in the middle of a request
  };

  /// Takes the socket over; deletes itself when the connection ends.
  HttpConnection(QTcpSocket* socket, Handler handler, QObject* parent);

  void answer(int status, const Headers& headers = {}, const QByteArray& body = {});
  /// Ends the connection at once, without an answer.
  void cut();

 private:
  void read();
  bool readHead();
  void readBody();

  QTcpSocket* socket_;
  Handler handler_;
  QByteArray head_;
  std::optional<HttpRequest> request_;
  qint64 bodyLeft_ = 0;
  bool answered_ = false, ended_ = false;
};

}  // namespace publishing_test
