// zevanti-test-clipboard: prints what is on the clipboard, one "TYPE TAB CONTENT" a line for every type that a movie is
// offered in. With an argument, puts that text on the clipboard and ends a second later.

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QTimer>
#include <cstdio>

int main(int argc, char* argv[]) {
  QGuiApplication application(argc, argv);
  if (argc > 1) {
    QGuiApplication::clipboard()->setText(QString::fromLocal8Bit(argv[1]));
    QTimer::singleShot(1000, &application, [] { QCoreApplication::quit(); });
    return QGuiApplication::exec();
  }
  const QMimeData* data = QGuiApplication::clipboard()->mimeData();
  for (const char* type : {"text/uri-list", "x-special/gnome-copied-files", "text/plain"}) {
    QByteArray content = data->data(QString::fromLatin1(type));
    content.replace('\r', "").replace('\n', "\\n");
    std::printf("%s\t%s\n", type, content.constData());
  }
  return 0;
}
