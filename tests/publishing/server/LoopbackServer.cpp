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

constexpr qint64 granularity = 256 * 1024;  // an unfinished session counts whole multiples of this

const std::pair<QByteArray, QByteArray> jsonType{"Content-Type", "application/json; charset=UTF-8"};

}  // namespace

LoopbackServer::LoopbackServer(Options options, QObject* parent) : QObject(parent), options_(std::move(options)) {
  connect(&server_, &QTcpServer::newConnection, this, [this] {
    while (QTcpSocket* socket = server_.nextPendingConnection()) new HttpConnection(socket, *this, this);
  });
}

LoopbackServer::~LoopbackServer() {
  for (HttpConnection* connection : findChildren<HttpConnection*>(Qt::FindDirectChildrenOnly)) connection->cut();
}

void LoopbackServer::add(const std::string& text) {
  const auto fault = Fault::parse(text);
  if (!fault) {
    std::fprintf(stderr, "not a fault: %s\n", text.c_str());
    std::abort();
  }
  add(*fault);
}

Fault LoopbackServer::takeFault(const char* place) {
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& f) { return f.place == place; });
  if (found == faults_.end()) return {};
  Fault fault = *found;
  if (--found->times <= 0) faults_.erase(found);
  log(QStringLiteral("fault %1").arg(QString::fromStdString(fault.what)));
  return fault;
}

bool LoopbackServer::answerFault(HttpConnection& connection, const Fault& fault) {
  if (fault.what == "status")
    connection.answer(int(fault.value), {jsonType}, failure(int(fault.value), "backendError", "Something broke."));
  else if (fault.what == "retry-after")
    connection.answer(503, {{"Retry-After", QByteArray::number(fault.value)}});
  else if (fault.what == "quota")
    connection.answer(403, {jsonType}, failure(403, "quotaExceeded", "The request exceeds your quota."));
  else if (fault.what == "expire")
    tokens_.clear(), connection.answer(401, {jsonType}, failure(401, "authError", "Invalid Credentials"));
  else if (fault.what == "redirect")
    connection.answer(307, {{"Location", "http://localhost:" + QByteArray::number(port()) + "/elsewhere"}});
  else if (fault.what == "close" && fault.place != "chunk")
    connection.cut();
  else
    return fault.what == "stall";
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

void LoopbackServer::body(HttpConnection& connection, const char* data, qint64 size) {
  const auto arrival = arrivals_.find(&connection);
  if (arrival == arrivals_.end()) {
    if (bodies_[&connection].size() < 1024 * 1024) bodies_[&connection].append(data, size);
    return;
  }
  if (arrival->fault.what == "stall") return;
  const bool cuts = arrival->fault.what == "close";
  const qint64 take = cuts ? std::min(size, arrival->fault.value - arrival->taken) : size;
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
  if (cuts && arrival->taken >= arrival->fault.value) connection.cut();
}

void LoopbackServer::end(HttpConnection& connection, const HttpRequest& request) {
  if (arrivals_.contains(&connection)) return endChunk(connection);
  if (request.path == "/authorize" && request.method == "GET") return authorize(connection, request);
  if (request.path == "/token" && request.method == "POST") return token(connection);
  if (request.path == "/upload/videos" && request.method == "POST") return start(connection, request);
  if (request.path.startsWith("/session/") && request.method == "PUT") return query(connection, request);
  if (request.path.startsWith("/session/") && request.method == "DELETE") {
    ++counts_.cancels;
    if (answerFault(connection, takeFault("cancel"))) return;
    const bool known = sessions_.erase(QString::fromLatin1(request.path)) > 0;
    log(QStringLiteral("session given up"));
    return connection.answer(known ? 499 : 404);
  }
  bodies_.remove(&connection);
  log(QStringLiteral("unknown request"));
  connection.answer(404, {{"Content-Type", "text/plain"}}, "Not found\n");
}

void LoopbackServer::closed(HttpConnection& connection) {
  bodies_.remove(&connection);
  arrivals_.remove(&connection);
}

void LoopbackServer::authorize(HttpConnection& connection, const HttpRequest& request) {
  ++counts_.authorizations;
  const auto fault = takeFault("authorize");
  if (answerFault(connection, fault)) return;
  const auto given = [&](const char* name) { return valueOf(request.query, name); };
  const QUrl redirect(given("redirect_uri"));
  const bool good = given("response_type") == "code" && !given("client_id").isEmpty() && !given("scope").isEmpty() &&
                    !given("state").isEmpty() && given("code_challenge_method") == "S256" &&
                    given("code_challenge").size() == 43 && redirect.scheme() == "http" &&
                    redirect.host() == "127.0.0.1" && redirect.port() > 0;
  if (!good) return connection.answer(400, {{"Content-Type", "text/plain"}}, "This sign-in is not well formed.\n");
  QList<std::pair<QString, QString>> fields{{"state", given("state")}};
  if (fault.what == "deny") {
    fields.push_back({"error", "access_denied"});
  } else if (fault.what != "no-code") {
    const QString code = secret("code");
    codes_[code] = {given("client_id"), given("code_challenge"), redirect.toString()};
    fields.push_back({"code", code});
  }
  if (fault.what == "wrong-state") fields[0].second = "somebody-elses";
  QByteArray target = redirect.toEncoded();
  for (const auto& [name, value] : fields)
    target += (target.contains('?') ? '&' : '?') + name.toUtf8() + '=' + QUrl::toPercentEncoding(value);
  log(QStringLiteral("signed in"));
  connection.answer(302, {{"Location", target}});
}

void LoopbackServer::token(HttpConnection& connection) {
  const QUrlQuery form(QString::fromUtf8(bodies_.take(&connection).replace('+', "%20")));
  const auto given = [&](const char* name) { return valueOf(form, name); };
  const auto fault = takeFault("token");
  if (answerFault(connection, fault)) return;
  if (fault.what == "not-json") return connection.answer(200, {jsonType}, "<html>Welcome</html>");
  bool good = fault.what != "invalid-grant";
  const bool refresh = given("grant_type") == "refresh_token";
  if (refresh) {
    ++counts_.refreshes;
    good = good && refreshTokens_.contains(given("refresh_token")) && !given("client_id").isEmpty();
  } else {
    ++counts_.codes;
    const Grant grant = codes_.take(given("code"));  // a code is good once
    const QByteArray verifier = given("code_verifier").toLatin1();
    const QByteArray challenge = QCryptographicHash::hash(verifier, QCryptographicHash::Sha256)
                                     .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    good = good && given("grant_type") == "authorization_code" && !grant.client.isEmpty() &&
           grant.client == given("client_id") && grant.redirect == given("redirect_uri") &&
           grant.challenge.toLatin1() == challenge && verifier.size() >= 43 && verifier.size() <= 128;
  }
  // An empty secret is refused, as the service does.
  if (form.hasQueryItem("client_secret") && given("client_secret").isEmpty()) good = false;
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
  const auto fault = takeFault("start");
  if (answerFault(connection, fault) || !authorized(connection, request)) return;
  bool ok = false;
  const qint64 total = request.headers.value("x-upload-content-length").toLongLong(&ok);
  const QJsonDocument document = QJsonDocument::fromJson(metadata);
  if (valueOf(request.query, "uploadType") != "resumable" || !valueOf(request.query, "part").contains("snippet") ||
      !ok || total <= 0 || !request.headers.value("x-upload-content-type").startsWith("video/") || !document.isObject())
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
  if (fault.what == "foreign-location") location.replace("127.0.0.1", "localhost");
  if (fault.what == "no-location") return connection.answer(200);
  connection.answer(200, {{"Location", location}});
}

void LoopbackServer::beginChunk(HttpConnection& connection, const HttpRequest& request) {
  ++counts_.chunks;
  const auto fault = takeFault("chunk");
  const QString name = QString::fromLatin1(request.path);
  if (fault.what == "stall") {
    arrivals_[&connection] = {QString(), 0, fault, 0};
    return;
  }
  if (fault.what == "gone") {
    sessions_.erase(name);
    return connection.answer(404);
  }
  if (answerFault(connection, fault) || !authorized(connection, request)) return;
  const auto found = sessions_.find(name);
  if (found == sessions_.end()) return connection.answer(404);
  const Session& session = found->second;
  static const QRegularExpression form(R"(^bytes (\d+)-(\d+)/(\d+)$)");
  const auto range = form.match(QString::fromLatin1(request.headers.value("content-range")));
  qint64 at = 0, end = session.total;
  if (range.hasMatch()) {
    at = range.captured(1).toLongLong();
    end = range.captured(2).toLongLong() + 1;
    if (range.captured(3).toLongLong() != session.total) return connection.answer(400);
  } else if (request.headers.contains("content-range")) {
    return connection.answer(400);
  }
  // Only the last chunk may be cut anywhere.
  const bool whole = end == session.total || (end - at) % granularity == 0;
  if (at > session.stored || end > session.total || !whole || end - at != request.bodySize)
    return connection.answer(400, {jsonType}, failure(400, "badRequest", "This range does not fit."));
  arrivals_[&connection] = {name, at, fault, 0};
}

void LoopbackServer::endChunk(HttpConnection& connection) {
  const Arrival arrival = arrivals_.take(&connection);
  if (arrival.fault.what == "stall") return;
  answerProgress(connection, arrival.session, arrival.fault);
}

void LoopbackServer::query(HttpConnection& connection, const HttpRequest& request) {
  ++counts_.queries;
  bodies_.remove(&connection);
  const auto fault = takeFault("query");
  const QString name = QString::fromLatin1(request.path);
  if (fault.what == "gone") sessions_.erase(name);
  if (answerFault(connection, fault) || !authorized(connection, request)) return;
  const auto found = sessions_.find(name);
  if (found == sessions_.end()) return connection.answer(404);
  if (request.headers.value("content-range") != "bytes */" + QByteArray::number(found->second.total))
    return connection.answer(400);
  answerProgress(connection, name, fault);
}

void LoopbackServer::answerProgress(HttpConnection& connection, const QString& name, const Fault& fault) {
  const auto found = sessions_.find(name);
  if (found == sessions_.end()) return connection.answer(404);
  const Session& session = found->second;
  if (session.stored >= session.total) return finish(connection, name, fault);
  qint64 counted = session.stored - session.stored % granularity;
  if (fault.what == "lose") counted = std::max<qint64>(0, counted - fault.value);
  HttpConnection::Headers headers;
  if (fault.what == "bad-range")
    headers = {{"Range", "bytes=many-more"}};
  else if (fault.what == "range-beyond")
    headers = {{"Range", "bytes=0-" + QByteArray::number(session.total - 1)}};
  else if (counted > 0)
    headers = {{"Range", "bytes=0-" + QByteArray::number(counted - 1)}};
  connection.answer(308, headers);
}

void LoopbackServer::finish(HttpConnection& connection, const QString& name, const Fault& fault) {
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
  if (fault.what == "not-json") return connection.answer(200, {jsonType}, "<html>Thank you</html>");
  connection.answer(201, {jsonType}, json({{"kind", "video"}, {"id", video.identifier}}));
}

}  // namespace publishing_test
