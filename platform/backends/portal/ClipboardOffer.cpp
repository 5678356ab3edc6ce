#include "platform/backends/portal/ClipboardOffer.h"

#include "platform/Foundation/DynamicLibrary.h"
#include "platform/backends/portal/clipboard/ClipboardContent.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QProcess>
#include <QTimer>
#include <QUrl>
#include <memory>
#include <utility>

namespace {

ClipboardContent makeContent(const std::string& path, const std::string& text) {
  const QByteArray address = QUrl::fromLocalFile(QString::fromStdString(path)).toEncoded();
  ClipboardContent content;
  content.insert(QStringLiteral("text/uri-list"), address + "\r\n");
  content.insert(QStringLiteral("x-special/gnome-copied-files"), "copy\n" + address);
  content.insert(QStringLiteral("text/plain"), QByteArray::fromStdString(text));
  return content;
}

/// Has the content taken over by a program that outlives this one, where one is needed for that; `finish` is called at
/// least once, later, with whether it was.
void handOver(const ClipboardContent& content, const std::function<void(bool offered)>& finish) {
  if (QGuiApplication::platformName() != QStringLiteral("xcb")) {
    QTimer::singleShot(0, qGuiApp, [finish] { finish(false); });
    return;
  }
  const QString program = QString::fromStdString(systemPath("/System/Library/CoreServices/zevanti-clipboard"));
  // Outlives this process; the object must not be destroyed before it ends.
  auto* keeper = new QProcess;
  keeper->setStandardErrorFile(QProcess::nullDevice());
  QObject::connect(keeper, &QProcess::readyReadStandardOutput, keeper, [finish] { finish(true); });
  QObject::connect(keeper, &QProcess::finished, keeper, [keeper, finish] {
    keeper->deleteLater();
    finish(false);
  });
  QObject::connect(keeper, &QProcess::errorOccurred, keeper, [keeper, finish](QProcess::ProcessError error) {
    if (error == QProcess::FailedToStart) keeper->deleteLater();
    finish(false);
  });
  constexpr int kPatience = 5000;  // milliseconds
  QTimer::singleShot(kPatience, keeper, [finish] { finish(false); });
  keeper->start(program, {QStringLiteral("-platform"), QStringLiteral("xcb")});
  keeper->write(writeClipboardContent(content));
  keeper->closeWriteChannel();
}

}  // namespace

void offerOnClipboard(const std::string& path, const std::string& text, std::function<void()> then) {
  const ClipboardContent content = makeContent(path, text);
  handOver(content, [content, pending = std::make_shared<std::function<void()>>(std::move(then))](bool offered) {
    const auto handler = std::exchange(*pending, nullptr);
    if (!handler) return;
    if (!offered) QGuiApplication::clipboard()->setMimeData(makeMimeData(content));
    handler();
  });
}

void offerTextOnClipboard(const std::string& text) {
  ClipboardContent content;
  content.insert(QStringLiteral("text/plain"), QByteArray::fromStdString(text));
  handOver(content, [](bool) {});
}
