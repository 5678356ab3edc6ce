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

const QString root = "/org/freedesktop/secrets", items = root + "/collection/login/";

QDBusObjectPath itemOf(const QString& client) {
  return QDBusObjectPath(items + "x" + QString::fromLatin1(client.toUtf8().toHex()));
}

QString clientOf(const QString& item) {
  return QString::fromUtf8(QByteArray::fromHex(item.mid(items.size() + 1).toLatin1()));
}

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
  ++calls_;
  connection.send(answer(message));
  return true;
}

QDBusMessage FakeSecretService::answer(const QDBusMessage& message) {
  const QString member = message.member();
  const QVariant none = QVariant::fromValue(QDBusObjectPath("/"));
  if (message.interface() == "org.freedesktop.DBus.Properties") return properties(message);
  if (behaviour_ == Behaviour::Fails)
    return message.createErrorReply("org.freedesktop.Secret.Error.IsLocked", "Nobody unlocked it");
  // As GLib's client sees its own limit pass: G_IO_ERROR_TIMED_OUT.
  if (behaviour_ == Behaviour::TimesOut)
    return message.createErrorReply("org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code24", "Too late");
  if (member == "OpenSession") {
    if (message.arguments().value(0).toString() != "plain")
      return message.createErrorReply(QDBusError::NotSupported, "Only plain");
    return message.createReply(
        {QVariant::fromValue(QDBusVariant(QString())), QVariant::fromValue(QDBusObjectPath(root + "/session/1"))});
  }
  if (member == "SearchItems") {
    const QString client = qdbus_cast<Attributes>(message.arguments().value(0)).value("client");
    Paths found;
    if (secrets_.contains(client)) found.push_back(itemOf(client));
    const QVariant paths = QVariant::fromValue(found);
    if (message.path() != root) return message.createReply(paths);
    return message.createReply({paths, QVariant::fromValue(Paths())});
  }
  if (member == "GetSecrets") {
    BusSecrets found;
    for (const QDBusObjectPath& item : qdbus_cast<Paths>(message.arguments().value(0)))
      found[item] = {message.arguments().value(1).value<QDBusObjectPath>(),
                     {},
                     secrets_.value(clientOf(item.path())),
                     "text/plain"};
    return message.createReply(QVariant::fromValue(found));
  }
  if (member == "CreateItem") return create(message);
  if (member == "Delete") {
    secrets_.remove(clientOf(message.path()));
    return message.createReply(none);
  }
  if (member == "Unlock") return message.createReply({message.arguments().value(0), none});
  if (member == "ReadAlias")
    return message.createReply(QVariant::fromValue(QDBusObjectPath(root + "/collection/login")));
  return message.createErrorReply(QDBusError::UnknownMethod, "Not here");
}

QDBusMessage FakeSecretService::create(const QDBusMessage& message) {
  const QVariantMap about = qdbus_cast<QVariantMap>(message.arguments().value(0));
  const Attributes attributes = qdbus_cast<Attributes>(about.value("org.freedesktop.Secret.Item.Attributes"));
  const BusSecret secret = qdbus_cast<BusSecret>(message.arguments().value(1));
  secrets_[attributes.value("client")] = secret.value;
  return message.createReply(
      {QVariant::fromValue(itemOf(attributes.value("client"))), QVariant::fromValue(QDBusObjectPath("/"))});
}

QDBusMessage FakeSecretService::properties(const QDBusMessage& message) const {
  QVariantMap values;
  if (message.path() == root) values["Collections"] = QVariant::fromValue(Paths());
  values["Locked"] = false;
  values["Label"] = "A label";
  if (message.member() == "GetAll") return message.createReply(values);
  const QVariant value = values.value(message.arguments().value(1).toString());
  return message.createReply(QVariant::fromValue(QDBusVariant(value.isValid() ? value : QVariant(QString()))));
}
