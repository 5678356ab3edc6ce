#include "tests/publishing/server/LoopbackServer.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QRandomGenerator>
#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace publishing_test {

namespace {

// Letters that an address must encode, so that whoever forgets to is found out.
QString secret(const char* kind) {
  return QStringLiteral("%1/4+%25_%2").arg(QLatin1String(kind)).arg(QRandomGenerator::global()->generate64(), 16, 16);
}

QByteArray json(const QJsonObject& object) {
  return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray failure(int status, const char* reason, const char* message) {
  return json(
      {{"error", QJsonObject{{"code", status},
                             {"message", message},
                             {"errors", QJsonArray{QJsonObject{
                                            {"domain", "usageLimits"}, {"reason", reason}, {"message", message}}}}}}});
}

const std::pair<QByteArray, QByteArray> jsonType{"Content-Type", "application/json; charset=UTF-8"};

}  // namespace

LoopbackServer::LoopbackServer(Options options, QObject* parent) : QObject(parent), options_(std::move(options)) {
  connect(&server_, &QTcpServer::newConnection, this, [this] {
    while (QTcpSocket* socket = server_.nextPendingConnection()) {
      new HttpConnection(socket,
                         {[this](auto& connection, const auto& request) { begin(connection, request); },
                          [this](auto& connection, const auto& request, const char* data, qint64 size) {
                            body(connection, request, data, size);
                          },
                          [this](auto& connection, const auto& request) { end(connection, request); },
                          [this](auto& connection) {
                            bodies_.remove(&connection);
                            arrivals_.remove(&connection);
                          }},
                         this);
    }
  });
}

LoopbackServer::~LoopbackServer() {
  for (HttpConnection* connection : findChildren<HttpConnection*>(Qt::FindDirectChildrenOnly)) connection->cut();
}

bool LoopbackServer::listen(quint16 port) {
  return server_.listen(QHostAddress::LocalHost, port);
}

std::string LoopbackServer::base() const {
  return "http://127.0.0.1:" + std::to_string(port());
}

void LoopbackServer::add(const Fault& fault) {
  faults_.push_back(fault);
}

void LoopbackServer::add(const std::string& text) {
  const auto fault = Fault::parse(text);
  if (!fault) {
    std::fprintf(stderr, "not a fault: %s\n", text.c_str());
    std::abort();
  }
  add(*fault);
}

std::optional<Fault> LoopbackServer::takeFault(Fault::Place place) {
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& f) { return f.place == place; });
  if (found == faults_.end()) return std::nullopt;
  const Fault fault = *found;
  if (--found->times <= 0) faults_.erase(found);
  log(QStringLiteral("fault %1").arg(QString::fromStdString(fault.what)));
  return fault;
}

bool LoopbackServer::answerFault(HttpConnection& connection, const std::optional<Fault>& fault) {
  if (!fault) return false;
  if (fault->what == "status")
    connection.answer(int(fault->value), {jsonType}, failure(int(fault->value), "backendError", "Something broke."));
  else if (fault->what == "retry-after")
    connection.answer(503, {{"Retry-After", QByteArray::number(fault->value)}});
  else if (fault->what == "quota")
    connection.answer(403, {jsonType}, failure(403, "quotaExceeded", "The request exceeds your quota."));
  else if (fault->what == "expire")
    tokens_.clear(), connection.answer(401, {jsonType}, failure(401, "authError", "Invalid Credentials"));
  else if (fault->what == "redirect")
    connection.answer(307, {{"Location", "http://localhost:" + QByteArray::number(port()) + "/elsewhere"}});
  else if (fault->what == "close" && fault->place != Fault::Place::Chunk)
    connection.cut();
  else
    return fault->what == "stall";
  return true;
}

bool LoopbackServer::authorized(HttpConnection& connection, const HttpRequest& request) {
  const QByteArray header = request.headers.value("authorization");
  const QByteArray given = header.startsWith("Bearer ") ? header.mid(7) : QByteArray();
  if (!given.isEmpty() && (given == options_.accessToken || tokens_.contains(given))) return true;
  ++counts_.refused;
  connection.answer(401, {jsonType}, failure(401, "authError", "Invalid Credentials"));
  return false;
}

void LoopbackServer::begin(HttpConnection& connection, const HttpRequest& request) {
  if (request.method == "PUT" && request.path.startsWith("/session/") &&
      !request.headers.value("content-range").startsWith("bytes */"))
    beginChunk(connection, request);
}

void LoopbackServer::body(HttpConnection& connection, const HttpRequest&, const char* data, qint64 size) {
  const auto arrival = arrivals_.find(&connection);
  if (arrival == arrivals_.end()) {
    if (bodies_[&connection].size() < 1024 * 1024) bodies_[&connection].append(data, size);
    return;
  }
  if (arrival->fault && arrival->fault->what == "stall") return;
  const bool cuts = arrival->fault && arrival->fault->what == "close";
  const qint64 take = cuts ? std::min(size, arrival->fault->value - arrival->taken) : size;
  counts_.bodyBytes += take;
  arrival->taken += take;
  if (const auto found = sessions_.find(arrival->session); found != sessions_.end()) {
    // What is already there is not written again.
    Session& session = found->second;
    const qint64 known = std::clamp<qint64>(session.stored - arrival->at, 0, take);
    if (options_.hash) session.hash.addData(QByteArrayView(data + known, take - known));
    if (session.file) session.file->write(data + known, take - known);
    session.stored += take - known;
  }
  arrival->at += take;
  if (cuts && arrival->taken >= arrival->fault->value) connection.cut();
}

void LoopbackServer::end(HttpConnection& connection, const HttpRequest& request) {
  if (arrivals_.contains(&connection)) return endChunk(connection);
  if (request.path == "/authorize" && request.method == "GET") return authorize(connection, request);
  if (request.path == "/token" && request.method == "POST") return token(connection);
  if (request.path == "/upload/videos" && request.method == "POST") return start(connection, request);
  if (request.path.startsWith("/session/") && request.method == "PUT") return query(connection, request);
  if (request.path.startsWith("/session/") && request.method == "DELETE") {
    ++counts_.cancels;
    if (answerFault(connection, takeFault(Fault::Place::Cancel))) return;
    const bool known = sessions_.erase(QString::fromLatin1(request.path)) > 0;
    log(QStringLiteral("session given up"));
    return connection.answer(known ? 499 : 404);
  }
  bodies_.remove(&connection);
  log(QStringLiteral("unknown request"));
  connection.answer(404, {{"Content-Type", "text/plain"}}, "Not found\n");
}

void LoopbackServer::authorize(HttpConnection& connection, const HttpRequest& request) {
  ++counts_.authorizations;
  const auto fault = takeFault(Fault::Place::Authorize);
  if (answerFault(connection, fault)) return;
  const QUrl redirect(request.parameter("redirect_uri"));
  const bool good = request.parameter("response_type") == "code" && !request.parameter("client_id").isEmpty() &&
                    !request.parameter("scope").isEmpty() && !request.parameter("state").isEmpty() &&
                    request.parameter("code_challenge_method") == "S256" &&
                    request.parameter("code_challenge").size() == 43 && redirect.scheme() == "http" &&
                    redirect.host() == "127.0.0.1" && redirect.port() > 0;
  if (!good) return connection.answer(400, {{"Content-Type", "text/plain"}}, "This sign-in is not well formed.\n");
  const QString state = request.parameter("state");
  QList<std::pair<QString, QString>> fields{{"state", state}};
  if (fault && fault->what == "deny") {
    fields.push_back({"error", "access_denied"});
  } else if (!fault || fault->what != "no-code") {
    const QString code = secret("code");
    codes_[code] = {request.parameter("client_id"), request.parameter("code_challenge"), redirect.toString()};
    fields.push_back({"code", code});
  }
  if (fault && fault->what == "wrong-state") fields[0].second = "somebody-elses";
  QByteArray target = redirect.toEncoded();
  for (const auto& [name, value] : fields)
    target += (target.contains('?') ? '&' : '?') + name.toUtf8() + '=' + QUrl::toPercentEncoding(value);
  log(QStringLiteral("signed in"));
  connection.answer(302, {{"Location", target}});
}

void LoopbackServer::token(HttpConnection& connection) {
  const QMap<QString, QString> form = parseForm(bodies_.take(&connection));
  const auto fault = takeFault(Fault::Place::Token);
  if (answerFault(connection, fault)) return;
  if (fault && fault->what == "not-json") return connection.answer(200, {jsonType}, "<html>Welcome</html>");
  bool good = !fault || fault->what != "invalid-grant";
  const bool refresh = form.value("grant_type") == "refresh_token";
  if (refresh) {
    ++counts_.refreshes;
    good = good && refreshTokens_.contains(form.value("refresh_token")) && !form.value("client_id").isEmpty();
  } else {
    ++counts_.codes;
    const Grant grant = codes_.take(form.value("code"));  // a code is good once
    const QByteArray challenge =
        QCryptographicHash::hash(form.value("code_verifier").toLatin1(), QCryptographicHash::Sha256)
            .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    const qsizetype length = form.value("code_verifier").size();
    good = good && form.value("grant_type") == "authorization_code" && !grant.client.isEmpty() &&
           grant.client == form.value("client_id") && grant.redirect == form.value("redirect_uri") &&
           grant.challenge.toLatin1() == challenge && length >= 43 && length <= 128;
  }
  // An empty secret is refused, as the service does.
  if (form.contains("client_secret") && form.value("client_secret").isEmpty()) good = false;
  if (!good) return connection.answer(400, {jsonType}, json({{"error", "invalid_grant"}}));
  const QByteArray access = secret("access").toUtf8();
  tokens_.insert(access);
  QJsonObject answer{{"access_token", QString::fromUtf8(access)},
                     {"token_type", "Bearer"},
                     {"expires_in", options_.tokenSeconds},
                     {"scope", "upload"}};
  if (!refresh && options_.grantsRefresh) {
    const QString token = secret("refresh");
    refreshTokens_.insert(token);
    answer["refresh_token"] = token;
  }
  connection.answer(200, {jsonType}, json(answer));
}

void LoopbackServer::start(HttpConnection& connection, const HttpRequest& request) {
  ++counts_.starts;
  const QByteArray metadata = bodies_.take(&connection);
  const auto fault = takeFault(Fault::Place::Start);
  if (answerFault(connection, fault) || !authorized(connection, request)) return;
  bool ok = false;
  const qint64 total = request.headers.value("x-upload-content-length").toLongLong(&ok);
  const QJsonDocument document = QJsonDocument::fromJson(metadata);
  if (request.parameter("uploadType") != "resumable" || !request.parameter("part").contains("snippet") || !ok ||
      total <= 0 || !request.headers.value("x-upload-content-type").startsWith("video/") || !document.isObject())
    return connection.answer(400, {jsonType}, failure(400, "badRequest", "This start is not well formed."));
  const QString name = QStringLiteral("/session/%1").arg(nextSession_++);
  Session& session = sessions_[name];
  session.metadata = document.object();
  session.total = total;
  if (!options_.folder.isEmpty()) {
    session.file = std::make_unique<QFile>(options_.folder + "/" + name.mid(9) + ".part");
    if (!session.file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
      return connection.answer(500);
  }
  log(QStringLiteral("%1 starts, %2 bytes").arg(name).arg(total));
  QByteArray location = QByteArray::fromStdString(base()) + name.toUtf8();
  if (fault && fault->what == "foreign-location") location.replace("127.0.0.1", "localhost");
  if (fault && fault->what == "no-location") return connection.answer(200);
  connection.answer(200, {{"Location", location}});
}

void LoopbackServer::beginChunk(HttpConnection& connection, const HttpRequest& request) {
  ++counts_.chunks;
  const auto fault = takeFault(Fault::Place::Chunk);
  const QString name = QString::fromLatin1(request.path);
  if (fault && fault->what == "stall") {
    arrivals_[&connection] = {QString(), 0, 0, fault, 0};
    return;
  }
  if (fault && fault->what == "gone") sessions_.erase(name), connection.answer(404);
  if ((fault && fault->what == "gone") || answerFault(connection, fault) || !authorized(connection, request)) return;
  const auto found = sessions_.find(name);
  if (found == sessions_.end()) return connection.answer(404);
  const Session& session = found->second;
  static const QRegularExpression form(R"(^bytes (\d+)-(\d+)/(\d+)$)");
  const auto range = form.match(QString::fromLatin1(request.headers.value("content-range")));
  Arrival arrival{name, 0, session.total, fault, 0};
  if (range.hasMatch()) {
    arrival.at = range.captured(1).toLongLong();
    arrival.end = range.captured(2).toLongLong() + 1;
    if (range.captured(3).toLongLong() != session.total) return connection.answer(400);
  } else if (request.headers.contains("content-range")) {
    return connection.answer(400);
  }
  // Only the last chunk may be cut anywhere.
  const bool whole = arrival.end == session.total || (arrival.end - arrival.at) % (256 * 1024) == 0;
  if (arrival.at > session.stored || arrival.end > session.total || !whole ||
      arrival.end - arrival.at != request.bodySize)
    return connection.answer(400, {jsonType}, failure(400, "badRequest", "This range does not fit."));
  arrivals_[&connection] = arrival;
}

void LoopbackServer::endChunk(HttpConnection& connection) {
  const Arrival arrival = arrivals_.take(&connection);
  if (arrival.fault && arrival.fault->what == "stall") return;
  const auto found = sessions_.find(arrival.session);
  if (found == sessions_.end()) return connection.answer(404);
  if (found->second.stored >= found->second.total) return finish(connection, arrival.session, arrival.fault);
  answerIncomplete(connection, found->second, arrival.fault);
}

void LoopbackServer::query(HttpConnection& connection, const HttpRequest& request) {
  ++counts_.queries;
  bodies_.remove(&connection);
  const auto fault = takeFault(Fault::Place::Query);
  const QString name = QString::fromLatin1(request.path);
  if (fault && fault->what == "gone") sessions_.erase(name);
  if (answerFault(connection, fault) || !authorized(connection, request)) return;
  const auto found = sessions_.find(name);
  if (found == sessions_.end()) return connection.answer(404);
  if (request.headers.value("content-range") != "bytes */" + QByteArray::number(found->second.total))
    return connection.answer(400);
  if (found->second.stored >= found->second.total) return finish(connection, name, fault);
  answerIncomplete(connection, found->second, fault);
}

void LoopbackServer::answerIncomplete(HttpConnection& connection, const Session& session,
                                      const std::optional<Fault>& fault) {
  qint64 counted = session.stored - session.stored % options_.granularity;
  if (fault && fault->what == "lose") counted = std::max<qint64>(0, counted - fault->value);
  HttpConnection::Headers headers;
  if (fault && fault->what == "bad-range")
    headers = {{"Range", "bytes=many-more"}};
  else if (fault && fault->what == "range-beyond")
    headers = {{"Range", "bytes=0-" + QByteArray::number(session.total - 1)}};
  else if (counted > 0)
    headers = {{"Range", "bytes=0-" + QByteArray::number(counted - 1)}};
  connection.answer(308, headers);
}

void LoopbackServer::finish(HttpConnection& connection, const QString& name, const std::optional<Fault>& fault) {
  Session& session = sessions_.at(name);
  Video video{QStringLiteral("video-%1").arg(videos_.size() + 1), session.total, {}, session.metadata};
  if (options_.hash) video.hash = session.hash.result();
  if (session.file) {
    session.file->close();
    QFile::remove(options_.folder + "/" + video.identifier + ".mp4");
    session.file->rename(options_.folder + "/" + video.identifier + ".mp4");
    QFile description(options_.folder + "/" + video.identifier + ".json");
    if (description.open(QIODevice::WriteOnly)) description.write(QJsonDocument(session.metadata).toJson());
  }
  sessions_.erase(name);
  videos_.push_back(video);
  log(QStringLiteral("%1 is whole, %2 bytes").arg(video.identifier).arg(video.size));
  if (fault && fault->what == "not-json") return connection.answer(200, {jsonType}, "<html>Thank you</html>");
  connection.answer(201, {jsonType}, json({{"kind", "video"}, {"id", video.identifier}}));
}

}  // namespace publishing_test
