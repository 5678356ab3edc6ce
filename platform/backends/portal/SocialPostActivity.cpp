#include "platform/backends/portal/SocialPostActivity.h"

#include "platform/UIKit/UIKitStrings.h"
#include "platform/backends/portal/AddressOpener.h"
#include "platform/backends/portal/DesktopInventory.h"

#include <QUrl>

ZV_REGISTER_CLASS(SocialPostActivity, "SocialPostActivity", SystemActivity, {})

std::string SocialPostActivity::activityTitle() const {
  return "Facebook";
}

bool SocialPostActivity::isPossible(const Items& items) const {
  const DesktopInventory& desktop = DesktopInventory::shared();
  return !items.link.empty() && desktop.opens("https") &&
         (desktop.hasPortal("OpenURI") || desktop.hasProgram("xdg-open"));
}

void SocialPostActivity::performActivity() {
  const QByteArray link = QUrl::toPercentEncoding(QString::fromStdString(items().link));
  openAddress("https://www.facebook.com/sharer/sharer.php?u=" + link.toStdString(),
              [self = strongSelf(this)](OpenOutcome outcome) {
                if (outcome != OpenOutcome::Failed) return self->activityDidFinish(outcome == OpenOutcome::Opened);
                self->fail(UIKitLocalizedString("The page could not be opened"),
                           UIKitLocalizedString("No browser has answered. Choose one in the desktop’s settings."));
              });
}
