#include "platform/backends/portal/CopyActivity.h"

#include "platform/UIKit/UIKitStrings.h"
#include "platform/backends/portal/ClipboardOffer.h"

ZV_REGISTER_CLASS(CopyActivity, "CopyActivity", SystemActivity, {})

std::string CopyActivity::activityTitle() const {
  return UIKitLocalizedString("Copy");
}

bool CopyActivity::isPossible(const Items& items) const {
  return !items.movie.empty();
}

void CopyActivity::performActivity() {
  locateMovie([self = strongSelf(this)](const std::string& path) {
    offerOnClipboard(path, self->items().message(), [self] { self->activityDidFinish(true); });
  });
}
