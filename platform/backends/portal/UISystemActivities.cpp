#include "platform/UIKit/UISystemActivities.h"

#include "platform/backends/portal/CopyActivity.h"
#include "platform/backends/portal/DesktopInventory.h"
#include "platform/backends/portal/MailActivity.h"
#include "platform/backends/portal/MessageActivity.h"
#include "platform/backends/portal/SaveCopyActivity.h"
#include "platform/backends/portal/ShowInFolderActivity.h"
#include "platform/backends/portal/SocialPostActivity.h"

void UISystemActivitiesPrepare(const std::string& subject, std::function<void()> then) {
  systemActivitySubject() = subject;
  DesktopInventory::shared().refresh(std::move(then));
}

void UISystemActivitiesSetRequiredFreeSpace(std::int64_t bytes) {
  systemActivityRequiredFreeSpace() = bytes;
}

std::vector<Strong<UIActivity>> UISystemActivities() {
  DesktopInventory::shared().refresh();  // for the next sheet: programs come and go
  return {std::make_shared<MailActivity>(),     std::make_shared<MessageActivity>(),
          std::make_shared<CopyActivity>(),     std::make_shared<SocialPostActivity>(),
          std::make_shared<SaveCopyActivity>(), std::make_shared<ShowInFolderActivity>()};
}
