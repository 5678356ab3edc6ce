#include "tests/publishing/server/HttpConnection.h"

#include <QtCore/QList>
#include <QtCore/QUrl>

#include <algorithm>
#include <array>

namespace publishing_test {

namespace {

constexpr qsizetype largestHead = 64 * 1024;
constexpr qint64 pieceSize = 256 * 1024;

}  // namespace

std::optional<HttpRequest> HttpRequest::parse(const QByteArray& head) {
  const QList<QByteArray> lines = head.split('\n');
  const QList<QByteArray> first = lines[0].trimmed().split(' ');
  if (first.size() != 3 || !first[2].startsWith("HTTP/1.")) return std::nullopt;
  const QUrl target = QUrl::fromEncoded(first[1]);
  HttpRequest request{first[0], target.path().toUtf8(), QUrlQuery(target), {}, 0};
  for (const QByteArray& line : lines.mid(1)) {
    const qsizetype colon = line.indexOf(':');
    if (colon > 0) request.headers[line.left(colon).trimmed().toLower()] = line.mid(colon + 1).trimmed();
  }
  bool ok = true;
  if (request.headers.contains("content-length")) request.bodySize = request.headers["content-length"].toLongLong(&ok);
  return ok && request.bodySize >= 0 && !request.headers.contains("transfer-encoding") ? std::optional(request)
                                                                                       : std::nullopt;
}

QString valueOf(const QUrlQuery& query, const char* name) {
  return query.queryItemValue(QString::fromLatin1(name), QUrl::FullyDecoded);
}

HttpConnection::HttpConnection(QTcpSocket* socket, Handler& handler, QObject* parent)
    : QObject(parent), socket_(socket), handler_(handler) {
  socket->setParent(this);
  connect(socket, &QTcpSocket::readyRead, this, [this] { read(); });
  connect(socket, &QTcpSocket::disconnected, this, [this] {
    if (!std::exchange(ended_, true)) handler_.closed(*this);
    deleteLater();
  });
}

void HttpConnection::read() {
  while (!ended_ && socket_->bytesAvailable() > 0) {
    if (!request_ && !readHead()) return;
    if (request_ && bodyLeft_ > 0) readBody();
    if (!request_ || bodyLeft_ > 0 || ended_) continue;
    const HttpRequest request = *std::exchange(request_, std::nullopt);
    if (!answered_) handler_.end(*this, request);
  }
}

/// Whether a whole head is there.
bool HttpConnection::readHead() {
  while (socket_->canReadLine()) {
    const QByteArray line = socket_->readLine();
    if (line != "\r\n" && line != "\n") {
      head_ += line;
      if (head_.size() > largestHead) return cut(), false;
      continue;
    }
    request_ = HttpRequest::parse(std::exchange(head_, {}));
    if (!request_) return answer(400), false;
    bodyLeft_ = request_->bodySize;
    answered_ = false;
    if (request_->headers.value("expect").toLower() == "100-continue") socket_->write("HTTP/1.1 100 Continue\r\n\r\n");
    handler_.begin(*this, *request_);
    return true;
  }
  return false;
}

void HttpConnection::readBody() {
  static std::array<char, pieceSize> piece;
  const qint64 size = socket_->read(piece.data(), std::min(pieceSize, bodyLeft_));
  if (size <= 0) return;
  bodyLeft_ -= size;
  if (!answered_) handler_.body(*this, piece.data(), size);
}

void HttpConnection::answer(int status, const Headers& headers, const QByteArray& body) {
  if (ended_ || answered_) return;
  QByteArray text = "HTTP/1.1 " + QByteArray::number(status) + " Answer\r\n";
  for (const auto& [name, value] : headers) text += name + ": " + value + "\r\n";
  text += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
  socket_->write(text + "\r\n" + body);
  answered_ = true;
}

void HttpConnection::cut() {
  if (!std::exchange(ended_, true)) handler_.closed(*this);
  socket_->abort();
  deleteLater();
}

}  // namespace publishing_test
