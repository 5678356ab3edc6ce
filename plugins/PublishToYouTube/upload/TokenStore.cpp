#include "plugins/PublishToYouTube/upload/TokenStore.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/os_trace.h"
#include "plugins/PublishToYouTube/upload/PrivateFile.h"
#include "plugins/PublishToYouTube/upload/SecretService.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <cstring>

namespace publishing {

namespace {

using Outcome = SecretService::Outcome;

constexpr double timeToChange = 10;  // seconds

/// One for all stores: they may share the file.
const dispatch_queue_t& queue() {
  static const dispatch_queue_t queue = dispatch_queue_create("publishing.tokens");
  return queue;
}

/// The file holds an object with the tokens of each client and server.
QString keyOf(const TokenStore::Place& place) {
  return QString::fromStdString(place.client + " " + place.server);
}

QJsonObject readFile(const std::string& path, int* failure = nullptr) {
  return QJsonDocument::fromJson(QByteArray::fromStdString(readPrivateFile(path, failure).value_or(""))).object();
}

/// Changes what is kept for a place, and nothing of the others. Null: it is forgotten.
void writeToFile(const TokenStore::Place& place, const Tokens* tokens) {
  int failure = 0;
  QJsonObject content = readFile(place.file, &failure);
  if (failure == 0) {
    if (tokens)
      content[keyOf(place)] = QString::fromStdString(tokens->json());
    else if (content.contains(keyOf(place)))
      content.remove(keyOf(place));
    else
      return;
    if (content.isEmpty()) return removePrivateFile(place.file);
    failure = writePrivateFile(place.file, QJsonDocument(content).toJson().toStdString());
  }
  if (failure != 0)
    os_trace_error("Publishing: the sign-in can't be kept in %s: %s", place.file.c_str(), std::strerror(failure));
}

std::optional<Tokens> load(const TokenStore::Place& place, SecretService& service) {
  std::string secret;
  if (place.secretService && service.lookUp(place.client, place.server, &secret) == Outcome::Done) {
    if (const auto tokens = Tokens::fromJson(secret)) return tokens;
  }
  return Tokens::fromJson(readFile(place.file)[keyOf(place)].toString().toStdString());
}

void save(const TokenStore::Place& place, SecretService& service, const Tokens& tokens) {
  const Outcome outcome =
      place.secretService ? service.store(place.client, place.server, tokens.json()) : Outcome::Unavailable;
  writeToFile(place, outcome == Outcome::Unavailable ? &tokens : nullptr);
}

}  // namespace

TokenStore::TokenStore(Place place) : place_(std::move(place)), service_(std::make_shared<SecretService>()) {}

TokenStore::~TokenStore() {
  service_->cancelLookUps();
  dispatch_after(timeToChange, dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [service = service_] { service->cancelAll(); });
}

std::string TokenStore::fileIn(const std::string& stateFolder) {
  return stateFolder + "/publishing-tokens.json";
}

void TokenStore::load(std::function<void(std::optional<Tokens>)> handler) {
  dispatch_async(queue(), [place = place_, service = service_, handler = std::move(handler)]() mutable {
    dispatch_async(dispatch_get_main_queue(),
                   [handler = std::move(handler), tokens = publishing::load(place, *service)] { handler(tokens); });
  });
}

void TokenStore::find(std::function<void(bool)> handler) {
  dispatch_async(queue(), [place = place_, service = service_, handler = std::move(handler)]() mutable {
    const bool isThere = (place.secretService && service->find(place.client, place.server) == Outcome::Done) ||
                         readFile(place.file).contains(keyOf(place));
    dispatch_async(dispatch_get_main_queue(), [handler = std::move(handler), isThere] { handler(isThere); });
  });
}

void TokenStore::save(const Tokens& tokens) {
  dispatch_async(queue(), [place = place_, service = service_, tokens] { publishing::save(place, *service, tokens); });
}

void TokenStore::clear() {
  dispatch_async(queue(), [place = place_, service = service_] {
    if (place.secretService) service->clear(place.client, place.server);
    writeToFile(place, nullptr);
  });
}

}  // namespace publishing
