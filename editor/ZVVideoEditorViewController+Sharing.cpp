#include "editor/ZVVideoEditorViewController.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSBundle.h"
#include "platform/Foundation/NSExtension.h"
#include "platform/Foundation/NSNumberFormatter.h"
#include "platform/Foundation/NSStringFormat.h"
#include "platform/Foundation/ShownText.h"
#include "platform/Foundation/os_trace.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIActivityViewController.h"
#include "platform/UIKit/UIPopoverPresentationController.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UISystemActivities.h"
#include "sharing/ZVStoreManager.h"
#include "sharing/ZVYouTubeActivity.h"
#include "support/NSFileManagerZVExtensions.h"

#include <cmath>
#include <cstdio>

namespace {

/// The share extension that comes with the application of the video service.
constexpr const char* shareExtensionIdentifier = "com.youtube.ShareExtension";

/// "1:05:09", "0:32"; empty when the duration is not known.
std::string durationInWords(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0) return {};
  const auto whole = static_cast<long long>(std::llround(seconds));
  char text[32];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
  }
  return NSNumberFormatter::stringInPersonsDigits(text);
}

}  // namespace

void ZVVideoEditorViewController::shareAction() {
  dispatch_async(dispatch_get_main_queue(), [self = strongSelf()] {
    if (!self->movieCanBeShared()) return;
    self->displayShareSheetWithVideoURL(self->videoURL());
    if (self->isPadMode()) {
      self->topToolBar()->setItems({self->doneButton(), self->flexSpace(), self->titleButton(), self->flexSpace(),
                                    self->playButton(), self->fixSpace(), self->shareButton(), self->fixSpace(),
                                    self->saveButton()});
    } else {
      self->topToolBar()->setItems(
          {self->doneButton(), self->flexSpace(), self->titleButton(), self->flexSpace(), self->saveButton()});
    }
  });
}

void ZVVideoEditorViewController::displayShareSheetWithVideoURL(const NSURL& url) {
  os_trace("displayShareSheetWithVideoURL");
  UISystemActivitiesPrepare(applicationName());  // while the store is asked
  UISystemActivitiesSetRequiredFreeSpace(ZVScreenRecorderRequiredFreeSpace);
  ++shareRequests_;
  ZVStoreManager::sharedManager()->loadItemDetailsForBundleIdentifier_completionHandler(
      bundleIdentifier(), [self = strongSelf(), url, request = shareRequests_](const Strong<ZVStoreInfo>& info) {
        // One sheet answers all requests that were made before it went: a second tap on Share opens no second one.
        if (request <= self->answeredShareRequests_ || self->presentedViewController() || !self->view()->window())
          return;
        self->answeredShareRequests_ = self->shareRequests_;
        self->presentShareSheet(*info, url);
      });
}

void ZVVideoEditorViewController::presentShareSheet(const ZVStoreInfo& info, const NSURL& url) {
  const std::string format =
      NSBundle::mainBundle()->localizedStringForKey_value_table("SHARE_TEXT_FORMAT", "SHARE_TEXT_FORMAT", "");
  const std::vector<UIActivityItem> items = {
      NSStringWithFormat(format, {displayName(info.appName()), displayName(info.author())}), info.itemURL(), url};
  std::vector<std::string> order = {UIActivityTypeMail, UIActivityTypeMessage, UIActivityTypeCopyToPasteboard,
                                    UIActivityTypePostToFacebook};
  std::vector<Strong<UIActivity>> applicationActivities;
  if (!NSExtension::extensionWithIdentifier_excludingDisabledExtensions_error(shareExtensionIdentifier, true,
                                                                              nullptr)) {
    const auto publishing = std::make_shared<ZVYouTubeActivity>();
    order.insert(order.begin() + 2, publishing->activityType());
    applicationActivities.push_back(publishing);
  }
  const auto sheet =
      UIActivityViewController::initWithActivityItems_applicationActivities(items, applicationActivities);
  if (!applicationActivities.empty()) sheet->setActivityTypeOrder(order);
  sheet->setCompletionWithItemsHandler([self = strongSelf()](const std::string& activityType, bool completed,
                                                             const std::vector<UIActivityItem>&, const NSErrorPtr&) {
    if (completed) self->activityTypes()->push_back(activityType);
  });
  // The sheet may have been open for long.
  sheet->setMayCarryOutHandler([weak = weakSelf()] {
    const auto self = weak.lock();
    return self && self->movieCanBeShared();
  });
  sheet->setPreview(shareSheetPicture(), durationInWords(getPlayerDuration()),
                    PHPhotoLibrary::sharedPhotoLibrary().fileNameForMovieAtPath(url.path()));
  if (isPadMode()) {
    sheet->setModalPresentationStyle(UIModalPresentationStyle::Popover);
    sheet->popoverPresentationController()->setBarButtonItem(shareButton());
  }
  presentViewController_animated_completion(sheet, true, nullptr);
}

Strong<UIImage> ZVVideoEditorViewController::shareSheetPicture() {
  const auto thumbnails = cachedTimeStamps();
  CGImageRef picture = thumbnails && !thumbnails->empty() ? thumbnails->begin()->second : nullptr;
  if (!picture) picture = avPlayer()->videoOutput()->copyFrame();
  return picture ? std::make_shared<UIImage>(picture, UIScreen::mainScreen().scale()) : nullptr;
}
