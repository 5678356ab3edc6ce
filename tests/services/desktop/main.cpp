// zevanti-test-desktop FOLDER: stands for the desktop on a session bus of a test's own. It has the portal's interfaces
// for mail, addresses and files, and the file manager's, and does what a person would have it do, as these files in
// FOLDER say:
//
//   answer     what the person does in every dialog: 0 (or no file) agrees, 1 cancels, 2 the dialog fails
//   save-path  the file that the person chooses to save in
//   browser    when it is there, pages are opened: asked for, and followed to where they lead; what came in the end is
//              in the file "page"
//   calls      written by it: one line for each call, "METHOD TAB ARGUMENT TAB ..."; a descriptor is told as the path,
//              size and first bytes of what it leads to
//   ready      made by it when it can be called

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusUnixFileDescriptor>
#include <QDBusVirtualObject>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QUrl>
#include <cstdio>

namespace {

QString folder;

QString contentOf(const char* name) {
  QFile file(folder + '/' + QLatin1String(name));
  return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
}

void note(const QStringList& parts) {
  QFile file(folder + "/calls");
  if (!file.open(QIODevice::Append)) return;
  QStringList line = parts;
  for (QString& part : line) part.replace('\n', "\\n");
  file.write(line.join('\t').toUtf8() + "\n");
}

QString describe(const QDBusUnixFileDescriptor& descriptor) {
  const int number = descriptor.fileDescriptor();
  QFile file;
  if (!file.open(number, QIODevice::ReadOnly)) return "unreadable";
  const QString path = QFileInfo(QStringLiteral("/proc/self/fd/%1").arg(number)).symLinkTarget();
  return QStringLiteral("%1 %2 %3").arg(path).arg(file.size()).arg(QString::fromLatin1(file.read(8)));
}

}  // namespace

/// Every service in one object, which looks at the messages themselves.
class Desktop : public QDBusVirtualObject {
 public:
  QString introspect(const QString& path) const override {
    if (path == "/org/freedesktop/portal/desktop") {
      return QStringLiteral(
          "<interface name=\"org.freedesktop.portal.Email\"/><interface name=\"org.freedesktop.portal.OpenURI\"/>"
          "<interface name=\"org.freedesktop.portal.FileChooser\"/>");
    }
    return {};
  }

  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
    const QString method = message.member();
    const QVariantList arguments = message.arguments();
    if (method == "ShowItems") {
      note({method, arguments.value(0).toStringList().join(' ')});
      return connection.send(message.createReply());
    }
    const QVariantMap options = qdbus_cast<QVariantMap>(arguments.value(arguments.size() - 1));
    QVariantMap results;
    if (method == "ComposeEmail") {
      QStringList line{method, options.value("subject").toString(), options.value("body").toString()};
      for (const auto& file : qdbus_cast<QList<QDBusUnixFileDescriptor>>(options.value("attachment_fds")))
        line += describe(file);
      note(line);
    } else if (method == "OpenURI") {
      note({method, arguments.value(1).toString()});
      if (QFile::exists(folder + "/browser")) browse(QUrl(arguments.value(1).toString()));
    } else if (method == "SaveFile") {
      note({method, options.value("current_name").toString()});
      results.insert("uris", QStringList{QUrl::fromLocalFile(contentOf("save-path")).toString()});
    } else {
      return false;
    }
    const QString sender = message.service().mid(1).replace('.', '_');
    const QString path = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                             .arg(sender, options.value("handle_token").toString());
    connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(path))));
    auto response =
        QDBusMessage::createTargetedSignal(message.service(), path, "org.freedesktop.portal.Request", "Response");
    response.setArguments({contentOf("answer").toUInt(), results});
    return connection.send(response);
  }

 private:
  void browse(const QUrl& address) {
    QNetworkReply* reply = browser_.get(QNetworkRequest(address));
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply] {
      reply->deleteLater();
      QFile page(folder + "/page");
      if (page.open(QIODevice::WriteOnly)) page.write(reply->readAll());
    });
  }

  QNetworkAccessManager browser_;
};

int main(int argc, char* argv[]) {
  QCoreApplication application(argc, argv);
  if (argc != 2) {
    std::fputs("Usage: zevanti-test-desktop FOLDER\n", stderr);
    return 2;
  }
  folder = QString::fromLocal8Bit(argv[1]);
  qDBusRegisterMetaType<QList<QDBusUnixFileDescriptor>>();
  Desktop desktop;
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.registerVirtualObject("/org/freedesktop", &desktop, QDBusConnection::SubPath) ||
      !bus.registerService("org.freedesktop.portal.Desktop") || !bus.registerService("org.freedesktop.FileManager1")) {
    std::fprintf(stderr, "zevanti-test-desktop: %s\n", qUtf8Printable(bus.lastError().message()));
    return 1;
  }
  QFile(folder + "/ready").open(QIODevice::WriteOnly);
  return QCoreApplication::exec();
}
