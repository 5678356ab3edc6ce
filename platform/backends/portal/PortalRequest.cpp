#include "platform/backends/portal/PortalRequest.h"

#include "platform/Foundation/os_trace.h"
#include "platform/backends/portal/SessionBus.h"

#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QGuiApplication>
#include <QPointer>
#include <QWindow>
#include <utility>

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kRequestInterface = QStringLiteral("org.freedesktop.portal.Request");
constexpr int kReplyTime = 25000;  // milliseconds: the portal may have to be started first

/// The window that a dialog belongs to, as far as it can be told.
QString parentWindow() {
  const QWindow* window = QGuiApplication::focusWindow();
  if (!window || QGuiApplication::platformName() != QStringLiteral("xcb")) return {};
  return QStringLiteral("x11:") + QString::number(window->winId(), 16);
}

}  // namespace

void PortalRequest::send(const QString& interface, const QString& method, const QVariantList& arguments,
                         QVariantMap options, Answer answer) {
  static int count = 0;
  auto* request = new PortalRequest(std::move(answer));
  const QString token = QStringLiteral("zevanti%1").arg(++count);
  if (QDBusConnection* connection = SessionBus::shared().connection()) {
    // Listens before it asks, or a quick answer is missed.
    const QString sender = connection->baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
    request->listen(QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2").arg(sender, token));
    auto* watcher =
        new QDBusServiceWatcher(kService, *connection, QDBusServiceWatcher::WatchForUnregistration, request);
    QObject::connect(watcher, &QDBusServiceWatcher::serviceUnregistered, request,
                     [request] { request->finish(Outcome::Failed, {}); });
  }
  options.insert(QStringLiteral("handle_token"), token);
  auto message =
      QDBusMessage::createMethodCall(kService, QStringLiteral("/org/freedesktop/portal/desktop"), interface, method);
  message.setArguments(QVariantList{parentWindow()} + arguments + QVariantList{options});
  const QPointer<PortalRequest> pending(request);
  SessionBus::shared().call(message, kReplyTime, [pending, method](const QDBusMessage& reply) {
    if (!pending) return;  // answered before the reply
    if (reply.type() == QDBusMessage::ErrorMessage) {
      os_trace_error("the desktop's portal can't carry out %s: %s", qUtf8Printable(method),
                     qUtf8Printable(reply.errorMessage()));
      pending->finish(Outcome::Failed, {});
    } else {
      // An old portal chooses a path of its own; listening twice to one does nothing.
      pending->listen(reply.arguments().value(0).value<QDBusObjectPath>().path());
    }
  });
}

void PortalRequest::listen(const QString& path) {
  if (path.isEmpty()) return;
  if (QDBusConnection* connection = SessionBus::shared().connection()) {
    connection->connect(kService, path, kRequestInterface, QStringLiteral("Response"), this,
                        SLOT(responseReceived(uint, QVariantMap)));
  }
}

void PortalRequest::responseReceived(uint response, const QVariantMap& results) {
  finish(response == 0 ? Outcome::Done : response == 1 ? Outcome::Cancelled : Outcome::Failed, results);
}

void PortalRequest::finish(Outcome outcome, const QVariantMap& results) {
  if (const Answer answer = std::exchange(answer_, nullptr)) {
    deleteLater();
    answer(outcome, results);
  }
}
