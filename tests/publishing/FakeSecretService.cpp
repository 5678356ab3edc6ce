#include "tests/publishing/FakeSecretService.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtDBus/QDBusArgument>
#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusMetaType>
#include <QtDBus/QDBusObjectPath>
#include <QtDBus/QDBusVariant>

#include <cstdlib>

using Attributes = QMap<QString, QString>;
using Paths = QList<QDBusObjectPath>;

/// (oayays): the session, the parameters of its encryption, the secret, its type.
struct BusSecret {
  QDBusObjectPath session;
  QByteArray parameters, value;
  QString type;
};
Q_DECLARE_METATYPE(BusSecret)
using BusSecrets = QMap<QDBusObjectPath, BusSecret>;
Q_DECLARE_METATYPE(BusSecrets)

QDBusArgument& operator<<(QDBusArgument& argument, const BusSecret& secret) {
  argument.beginStructure();
  argument << secret.session << secret.parameters << secret.value << secret.type;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, BusSecret& secret) {
  argument.beginStructure();
  argument >> secret.session >> secret.parameters >> secret.value >> secret.type;
  argument.endStructure();
  return argument;
}

namespace {

const QString root = "/org/freedesktop/secrets", collection = root + "/collection/login";
const QDBusObjectPath item(collection + "/1"), none("/");

class BusProcess : public QProcess {
 public:
  using QProcess::QProcess;
  ~BusProcess() override {
    kill();
    waitForFinished();
  }
};

/// Of the bus, which is started with the first call and ends with the application object.
const QString& busAddress() {
  static const QString address = [] {
    static const QTemporaryDir folder;
    auto* bus = new BusProcess(QCoreApplication::instance());
    const QString path = "unix:path=" + folder.filePath("bus");
    bus->start("dbus-daemon", {"--session", "--nofork", "--print-address", "--address=" + path});
    if (!bus->waitForReadyRead()) std::abort();
    return path;
  }();
  return address;
}

}  // namespace

FakeSecretService::FakeSecretService() : connection_(QDBusConnection::connectToBus(busAddress(), "secrets")) {
  qDBusRegisterMetaType<BusSecret>();
  qDBusRegisterMetaType<BusSecrets>();
  qDBusRegisterMetaType<Attributes>();
  qputenv("DBUS_SESSION_BUS_ADDRESS", busAddress().toLatin1());
  connection_.registerVirtualObject(root, this, QDBusConnection::SubPath);
}

FakeSecretService::~FakeSecretService() {
  qunsetenv("DBUS_SESSION_BUS_ADDRESS");
  connection_.unregisterObject(root, QDBusConnection::UnregisterTree);
  QDBusConnection::disconnectFromBus("secrets");
}

void FakeSecretService::become(Behaviour behaviour) {
  behaviour_ = behaviour;
  const QString name = "org.freedesktop.secrets";
  const bool done =
      behaviour == Behaviour::NotThere ? connection_.unregisterService(name) : connection_.registerService(name);
  if (!done && !connection_.interface()->isServiceRegistered(name)) std::abort();
}

QString FakeSecretService::introspect(const QString&) const {
  return {};
}

bool FakeSecretService::handleMessage(const QDBusMessage& message, const QDBusConnection& connection) {
  connection.send(answer(message));
  return true;
}

QDBusMessage FakeSecretService::answer(const QDBusMessage& message) {
  const QString member = message.member();
  const QVariantList arguments = message.arguments();
  if (member == "GetAll" && message.interface() == "org.freedesktop.DBus.Properties")
    return message.createReply(QVariantMap{{"Locked", false}});
  if (behaviour_ == Behaviour::Fails)
    return message.createErrorReply("org.freedesktop.Secret.Error.IsLocked", "Nobody unlocked it");
  // As GLib's client sees its own limit pass: G_IO_ERROR_TIMED_OUT.
  if (behaviour_ == Behaviour::TimesOut)
    return message.createErrorReply("org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code24", "Too late");
  if (member == "OpenSession") {
    if (arguments.value(0).toString() != "plain")
      return message.createErrorReply(QDBusError::NotSupported, "Only plain");
    return message.createReply(
        {QVariant::fromValue(QDBusVariant(QString())), QVariant::fromValue(QDBusObjectPath(root + "/session/1"))});
  }
  if (member == "SearchItems") {
    const bool isFound = !secret_.isEmpty() && qdbus_cast<Attributes>(arguments.value(0)) == attributes_;
    const QVariant paths = QVariant::fromValue(isFound ? Paths{item} : Paths());
    if (message.path() != root) return message.createReply(paths);
    return message.createReply({paths, QVariant::fromValue(Paths())});
  }
  if (member == "GetSecrets") {
    const BusSecret secret{arguments.value(1).value<QDBusObjectPath>(), {}, secret_, "text/plain"};
    return message.createReply(QVariant::fromValue(BusSecrets{{item, secret}}));
  }
  if (member == "CreateItem") {
    const QVariantMap about = qdbus_cast<QVariantMap>(arguments.value(0));
    attributes_ = qdbus_cast<Attributes>(about.value("org.freedesktop.Secret.Item.Attributes"));
    secret_ = qdbus_cast<BusSecret>(arguments.value(1)).value;
    return message.createReply({QVariant::fromValue(item), QVariant::fromValue(none)});
  }
  if (member == "Delete") {
    secret_.clear();
    return message.createReply(QVariant::fromValue(none));
  }
  if (member == "Unlock") return message.createReply({arguments.value(0), QVariant::fromValue(none)});
  if (member == "ReadAlias") return message.createReply(QVariant::fromValue(QDBusObjectPath(collection)));
  return message.createErrorReply(QDBusError::UnknownMethod, "Not here");
}
