#include "platform/backends/portal/DesktopInventory.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/backends/portal/AddressHandlers.h"
#include "platform/backends/portal/SessionBus.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <memory>
#include <thread>
#include <utility>

namespace {

constexpr int kReplyTime = 10000;  // milliseconds
const QString kBus = QStringLiteral("org.freedesktop.DBus");
const QString kPortal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kFileManager = QStringLiteral("org.freedesktop.FileManager1");

/// The portals that an object description lists.
std::set<std::string> portalNames(const QString& description) {
  static const QRegularExpression interface(
      QStringLiteral("<interface\\s+name=[\"']org\\.freedesktop\\.portal\\.(\\w+)[\"']"));
  std::set<std::string> names;
  for (auto match = interface.globalMatch(description); match.hasNext();)
    names.insert(match.next().captured(1).toStdString());
  return names;
}

}  // namespace

DesktopInventory& DesktopInventory::shared() {
  static DesktopInventory& inventory = *new DesktopInventory;
  return inventory;
}

void DesktopInventory::refresh(std::function<void()> then) {
  // Runs `then` when both have let go of it.
  const std::shared_ptr<void> both(nullptr, [then = std::move(then)](void*) {
    if (then) then();
  });
  ++asked_;
  askBus(asked_, [both] {});
  askFiles(asked_, [both] {});
}

void DesktopInventory::learnOfBus(int number, std::set<std::string> portals, bool hasFileManager) {
  if (number < busKnown_) return;
  busKnown_ = number;
  portals_ = std::move(portals);
  fileManager_ = hasFileManager;
}

void DesktopInventory::askBus(int number, std::function<void()> then) {
  SessionBus::shared().connect([this, number, then = std::move(then)](bool connected) {
    if (!connected) {
      learnOfBus(number, {}, false);
      return then();
    }
    // Services that run, and those that the bus can start.
    auto names = std::make_shared<QStringList>();
    auto unanswered = std::make_shared<int>(2);
    for (const char* list : {"ListNames", "ListActivatableNames"}) {
      const auto message = QDBusMessage::createMethodCall(kBus, QStringLiteral("/org/freedesktop/DBus"), kBus,
                                                          QString::fromLatin1(list));
      SessionBus::shared().call(
          message, kReplyTime, [this, number, names, unanswered, then](const QDBusMessage& reply) {
            *names += reply.arguments().value(0).toStringList();
            if (--*unanswered > 0) return;  // in any order: one that was there before it was waited for is told later
            const bool hasFileManager = names->contains(kFileManager);
            if (!names->contains(kPortal)) {
              learnOfBus(number, {}, hasFileManager);
              return then();
            }
            const auto describe = QDBusMessage::createMethodCall(
                kPortal, QStringLiteral("/org/freedesktop/portal/desktop"),
                QStringLiteral("org.freedesktop.DBus.Introspectable"), QStringLiteral("Introspect"));
            SessionBus::shared().call(describe, kReplyTime, [=, this](const QDBusMessage& description) {
              const bool answered = description.type() == QDBusMessage::ReplyMessage;
              learnOfBus(number,
                         answered ? portalNames(description.arguments().value(0).toString()) : std::set<std::string>(),
                         hasFileManager);
              then();
            });
          });
    }
  });
}

void DesktopInventory::askFiles(int number, std::function<void()> then) {
  // Detached: a folder on a server that is gone holds up nobody.
  std::thread([this, number, then = std::move(then)]() mutable {
    auto schemes = handledSchemes({"https", "mailto", "sms", "tg", "whatsapp", "xmpp"});
    std::set<std::string> programs;
    for (const char* name : {"xdg-open", "xdg-email"})
      if (!QStandardPaths::findExecutable(QString::fromLatin1(name)).isEmpty()) programs.insert(name);
    // `then` moves on: whoever lets go of it last calls it.
    dispatch_async(dispatch_get_main_queue(), [=, this, then = std::move(then)] {
      if (number > filesKnown_) {
        filesKnown_ = number;
        schemes_ = schemes;
        programs_ = programs;
      }
      then();
    });
  }).detach();
}
