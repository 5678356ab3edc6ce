#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The desktop's message bus, never waited for: it is connected to in a thread of its own, since a bus that hangs can
/// hold up a connection for as long as it likes, and every call is answered later. Main queue only.
class SessionBus {
 public:
  static SessionBus& shared();

  /// Connects in the background unless that has begun; `then` (may be null) is called later, when it is known whether
  /// there is a bus.
  void connect(std::function<void(bool connected)> then = nullptr);
  /// Leaves the bus, and connects again to the one that the environment names now.
  void reconnect(std::function<void(bool connected)> then = nullptr);
  /// Null while there is no connection.
  QDBusConnection* connection();

  /// `reply` is called once, later: with the reply, or with a message of the type ErrorMessage, at the latest after
  /// `milliseconds`.
  void call(const QDBusMessage& message, int milliseconds, std::function<void(const QDBusMessage& reply)> reply);
  /// Calls whose `reply` is still to come.
  int unansweredCalls() const { return unanswered_; }

 private:
  void connected(int generation, const QDBusConnection& connection);

  int generation_ = 0;  ///< counts the connections; 0: none was asked for
  int unanswered_ = 0;
  bool known_ = false;
  std::unique_ptr<QDBusConnection> connection_;
  std::vector<std::function<void(bool)>> waiting_;
};
