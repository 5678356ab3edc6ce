#include "platform/backends/portal/MailActivity.h"

#include "platform/UIKit/UIKitStrings.h"
#include "platform/backends/portal/AddressOpener.h"
#include "platform/backends/portal/DesktopInventory.h"
#include "platform/backends/portal/PortalRequest.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <QDBusMetaType>
#include <QDBusUnixFileDescriptor>
#include <filesystem>

ZV_REGISTER_CLASS(MailActivity, "MailActivity", SystemActivity, {})

namespace {

bool canUseProgram() {
  return DesktopInventory::shared().opens("mailto") && DesktopInventory::shared().hasProgram("xdg-email");
}

std::string subject(const std::string& path) {
  return systemActivitySubject().empty() ? std::filesystem::path(path).stem().string() : systemActivitySubject();
}

}  // namespace

std::string MailActivity::activityTitle() const {
  return UIKitLocalizedString("Mail");
}

bool MailActivity::isPossible(const Items& items) const {
  return !items.movie.empty() && (DesktopInventory::shared().hasPortal("Email") || canUseProgram());
}

void MailActivity::performActivity() {
  locateMovie([self = strongSelf(this)](const std::string& path) {
    if (!DesktopInventory::shared().hasPortal("Email")) return self->useProgram(path);
    self->openMovie(path, UIKitLocalizedString("The mail could not be opened"),
                    [self, path](const FileDescriptor& file) { self->usePortal(path, file); });
  });
}

void MailActivity::usePortal(const std::string& path, const FileDescriptor& file) {
  qDBusRegisterMetaType<QList<QDBusUnixFileDescriptor>>();
  QVariantMap options{{QStringLiteral("subject"), QString::fromStdString(subject(path))},
                      {QStringLiteral("body"), QString::fromStdString(items().message())}};
  options.insert(QStringLiteral("attachment_fds"), QVariant::fromValue(QList{QDBusUnixFileDescriptor(file.get())}));
  PortalRequest::send(QStringLiteral("org.freedesktop.portal.Email"), QStringLiteral("ComposeEmail"), {}, options,
                      [self = strongSelf(this), path](PortalRequest::Outcome outcome, const QVariantMap&) {
                        if (outcome == PortalRequest::Outcome::Failed) return self->useProgram(path);
                        self->activityDidFinish(outcome == PortalRequest::Outcome::Done);
                      });
}

void MailActivity::useProgram(const std::string& path) {
  auto tell = [self = strongSelf(this)](bool opened) {
    if (opened) return self->activityDidFinish(true);
    self->fail(UIKitLocalizedString("The mail could not be opened"),
               UIKitLocalizedString("No mail program has answered. Choose one in the desktop’s settings."));
  };
  if (!canUseProgram()) return tell(false);
  startProgram("xdg-email", {"--utf8", "--subject", subject(path), "--body", items().message(), "--attach", path},
               tell);
}
