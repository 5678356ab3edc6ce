#pragma once

#include <QtCore/QMap>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusVirtualObject>

/// A store for secrets that keeps one in memory, just what a client needs to look one up, store it and clear it, on a
/// session bus of our own. While it lives, DBUS_SESSION_BUS_ADDRESS names that bus. A process has but one bus, so that
/// stays until the end.
class FakeSecretService : public QDBusVirtualObject {
 public:
  enum class Behaviour { Works, NotThere, Fails, TimesOut };

  FakeSecretService();
  ~FakeSecretService() override;
  void become(Behaviour behaviour);  ///< at first, it isn't there

  const QByteArray& secret() const { return secret_; }  ///< empty when there is none

  QString introspect(const QString& path) const override;
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

 private:
  QDBusMessage answer(const QDBusMessage& message);

  Behaviour behaviour_ = Behaviour::NotThere;
  QDBusConnection connection_;
  QMap<QString, QString> attributes_;  ///< of the secret
  QByteArray secret_;
};
