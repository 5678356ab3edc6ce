#include "platform/backends/portal/ShowInFolderActivity.h"

#include "platform/UIKit/UIKitStrings.h"
#include "platform/backends/portal/DesktopInventory.h"
#include "platform/backends/portal/PortalRequest.h"
#include "platform/backends/portal/SessionBus.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <QDBusUnixFileDescriptor>
#include <QUrl>

ZV_REGISTER_CLASS(ShowInFolderActivity, "ShowInFolderActivity", SystemActivity, {})

std::string ShowInFolderActivity::activityTitle() const {
  return UIKitLocalizedString("Show in Folder");
}

bool ShowInFolderActivity::isPossible(const Items& items) const {
  return !items.movie.empty() &&
         (DesktopInventory::shared().hasFileManager() || DesktopInventory::shared().hasPortal("OpenURI"));
}

void ShowInFolderActivity::performActivity() {
  locateMovie([self = strongSelf(this)](const std::string& path) {
    if (!DesktopInventory::shared().hasFileManager()) return self->openFolder(path);
    const QString name = QStringLiteral("org.freedesktop.FileManager1");
    auto message = QDBusMessage::createMethodCall(name, QStringLiteral("/org/freedesktop/FileManager1"), name,
                                                  QStringLiteral("ShowItems"));
    const QString address = QString::fromUtf8(QUrl::fromLocalFile(QString::fromStdString(path)).toEncoded());
    message.setArguments({QStringList{address}, QString()});
    constexpr int kReplyTime = 25000;  // milliseconds: the file manager may have to be started first
    SessionBus::shared().call(message, kReplyTime, [self, path](const QDBusMessage& reply) {
      if (reply.type() == QDBusMessage::ErrorMessage) return self->openFolder(path);
      self->activityDidFinish(true);
    });
  });
}

void ShowInFolderActivity::openFolder(const std::string& path) {
  openMovie(path, UIKitLocalizedString("The folder could not be shown"),
            [self = strongSelf(this), path](const FileDescriptor& file) { self->openFolder(path, file); });
}

void ShowInFolderActivity::openFolder(const std::string& path, const FileDescriptor& file) {
  PortalRequest::send(QStringLiteral("org.freedesktop.portal.OpenURI"), QStringLiteral("OpenDirectory"),
                      {QVariant::fromValue(QDBusUnixFileDescriptor(file.get()))}, {},
                      [self = strongSelf(this), path](PortalRequest::Outcome outcome, const QVariantMap&) {
                        if (outcome != PortalRequest::Outcome::Failed)
                          return self->activityDidFinish(outcome == PortalRequest::Outcome::Done);
                        self->fail(UIKitLocalizedString("No file manager has answered"),
                                   UIKitLocalizedString("The movie is here:") + " " + path);
                      });
}
