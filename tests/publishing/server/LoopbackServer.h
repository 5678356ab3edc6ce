#pragma once

#include "tests/publishing/server/Fault.h"
#include "tests/publishing/server/HttpConnection.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QFile>
#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QSet>
#include <QtNetwork/QTcpServer>

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace publishing_test {

/// A video service of our own on 127.0.0.1 that speaks the published protocol: sign-in with a code and PKCE, tokens,
/// resumable uploads. It belongs to the thread that makes it, which must run an event loop.
///
/// Below `base()`: /authorize, /token, /upload/videos (a session starts here), /session/N.
class LoopbackServer : public QObject, private HttpConnection::Handler {
 public:
  struct Options {
    QString folder;             ///< received videos go here: ID.mp4 and ID.json; empty: only counted and hashed
    bool hash = true;           ///< SHA-256 of each video; off for measurements
    QByteArray accessToken;     ///< one more token that is always good
    int tokenSeconds = 3600;    ///< the lifetime that is told with new tokens
    bool grantsRefresh = true;  ///< whether a sign-in brings a refresh token
  };
  struct Video {
    QString identifier;
    qint64 size = 0;
    QByteArray hash;       ///< SHA-256
    QJsonObject metadata;  ///< the body of the session's start
  };
  struct Counts {
    int authorizations = 0, codes = 0, refreshes = 0, starts = 0, chunks = 0, queries = 0, cancels = 0, refused = 0;
    qint64 bodyBytes = 0;  ///< of chunks, also of those that came twice
  };

  explicit LoopbackServer(Options options, QObject* parent = nullptr);
  ~LoopbackServer() override;

  /// False when there is no port left.
  bool listen() { return server_.listen(QHostAddress::LocalHost); }
  quint16 port() const { return server_.serverPort(); }
  std::string base() const { return "http://127.0.0.1:" + std::to_string(port()); }

  /// Faults of one place come up one after the other, in the order in which they were added.
  void add(const Fault& fault) { faults_.push_back(fault); }
  /// The same from its text; the program ends when that can't be read.
  void add(const std::string& fault);
  /// Makes the access tokens that were given out worthless.
  void expireTokens() { tokens_.clear(); }

  const std::vector<Video>& videos() const { return videos_; }
  const Counts& counts() const { return counts_; }
  int openSessions() const { return int(sessions_.size()); }
  /// What a person may want to read of what happened, as a line.
  std::function<void(const QString&)> log = [](const QString&) {};

 private:
  struct Session {
    QJsonObject metadata;
    qint64 total = 0, stored = 0;
    std::unique_ptr<QFile> file;
    QCryptographicHash hash{QCryptographicHash::Sha256};
  };
  struct Grant {
    QString client, challenge, redirect;
  };
  /// A chunk that is arriving.
  struct Arrival {
    QString session;
    qint64 at = 0;  ///< the next byte's position in the file
    Fault fault;
    qint64 taken = 0;
  };

  void begin(HttpConnection& connection, const HttpRequest& request) override;
  void body(HttpConnection& connection, const char* data, qint64 size) override;
  void end(HttpConnection& connection, const HttpRequest& request) override;
  void closed(HttpConnection& connection) override;
  void authorize(HttpConnection& connection, const HttpRequest& request);
  void token(HttpConnection& connection);
  void start(HttpConnection& connection, const HttpRequest& request);
  void beginChunk(HttpConnection& connection, const HttpRequest& request);
  void endChunk(HttpConnection& connection);
  void query(HttpConnection& connection, const HttpRequest& request);
  void finish(HttpConnection& connection, const QString& name, const Fault& fault);
  /// How much of a session is there; the end of it when that is all.
  void answerProgress(HttpConnection& connection, const QString& name, const Fault& fault);

  /// Takes the next one of this place; one without `what` where there is none.
  Fault takeFault(const char* place);
  /// Carries out what is the same everywhere. Whether the request is dealt with.
  bool answerFault(HttpConnection& connection, const Fault& fault);
  bool authorized(HttpConnection& connection, const HttpRequest& request);

  Options options_;
  QTcpServer server_;
  std::vector<Fault> faults_;
  QSet<QByteArray> tokens_;
  QSet<QString> refreshTokens_;
  QMap<QString, Grant> codes_;
  std::map<QString, Session> sessions_;
  QMap<HttpConnection*, QByteArray> bodies_;
  QMap<HttpConnection*, Arrival> arrivals_;
  std::vector<Video> videos_;
  Counts counts_;
  int nextSession_ = 1;
};

}  // namespace publishing_test
