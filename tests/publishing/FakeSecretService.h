#pragma once

#include <QtCore/QMap>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusVirtualObject>

/// A store for secrets that keeps them in memory, just what a client needs to look one up, store it and clear it, on a
/// session bus of our own. While it lives, DBUS_SESSION_BUS_ADDRESS names that bus. A process has but one bus, so that
/// stays until the end.
class FakeSecretService : public QDBusVirtualObject {
 public:
  enum class Behaviour { Works, NotThere, Fails, TimesOut };

  FakeSecretService();
  ~FakeSecretService() override;
  void become(Behaviour behaviour);  ///< at first, it isn't there

  const QMap<QString, QByteArray>& secrets() const { return secrets_; }  ///< by the client's identifier
  int calls() const { return calls_; }

  QString introspect(const QString& path) const override;
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

 private:
  QDBusMessage answer(const QDBusMessage& message);
  QDBusMessage properties(const QDBusMessage& message) const;
  QDBusMessage create(const QDBusMessage& message);

  Behaviour behaviour_ = Behaviour::NotThere;
  QDBusConnection connection_;
  QMap<QString, QByteArray> secrets_;
  int calls_ = 0;
};
