#include "platform/backends/portal/SessionBus.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/DesktopFolders.h"

#include <QDBusPendingCallWatcher>
#include <thread>
#include <utility>

SessionBus& SessionBus::shared() {
  static SessionBus& bus = *new SessionBus;
  return bus;
}

void SessionBus::connect(std::function<void(bool)> then) {
  if (generation_ == 0) {
    reconnect(std::move(then));
  } else if (!then) {
    return;
  } else if (known_) {
    dispatch_async(dispatch_get_main_queue(), [this, then = std::move(then)] { then(connection() != nullptr); });
  } else {
    waiting_.push_back(std::move(then));
  }
}

void SessionBus::reconnect(std::function<void(bool)> then) {
  if (connection_) QDBusConnection::disconnectFromBus(connection_->name());
  connection_ = nullptr;
  known_ = false;
  if (then) waiting_.push_back(std::move(then));
  const int generation = ++generation_;
  // Detached, so that nothing ever waits for it.
  std::thread([this, generation, address = QString::fromStdString(sessionBusAddress())] {
    // Under a name of its own: the bus's library would remember the first address for good.
    const QString name = QStringLiteral("zevanti-%1").arg(generation);
    const QDBusConnection connection =
        address.isEmpty() ? QDBusConnection(name) : QDBusConnection::connectToBus(address, name);
    dispatch_async(dispatch_get_main_queue(), [this, generation, connection] { connected(generation, connection); });
  }).detach();
}

void SessionBus::connected(int generation, const QDBusConnection& connection) {
  if (generation != generation_) return;
  known_ = true;
  if (connection.isConnected()) connection_ = std::make_unique<QDBusConnection>(connection);
  for (const auto& then : std::exchange(waiting_, {})) then(connection_ != nullptr);
}

QDBusConnection* SessionBus::connection() {
  return connection_ && connection_->isConnected() ? connection_.get() : nullptr;
}

void SessionBus::call(const QDBusMessage& message, int milliseconds, std::function<void(const QDBusMessage&)> reply) {
  ++unanswered_;
  if (!connection()) {
    dispatch_async(dispatch_get_main_queue(), [this, reply = std::move(reply), message] {
      --unanswered_;
      reply(message.createErrorReply(QDBusError::Disconnected, QStringLiteral("there is no message bus")));
    });
    return;
  }
  auto* watcher = new QDBusPendingCallWatcher(connection_->asyncCall(message, milliseconds));
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [this, reply = std::move(reply), watcher] {
    --unanswered_;
    watcher->deleteLater();
    reply(watcher->reply());
  });
}
