#include "platform/backends/portal/SystemActivity.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/NSFileManager.h"
#include "platform/Foundation/os_trace.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIAlertAction.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIImage.h"
#include "platform/UIKit/UIKitStrings.h"
#include "platform/UIKit/UISaveFailure.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <fcntl.h>
#include <cerrno>
#include <memory>
#include <utility>

ZV_REGISTER_CLASS(SystemActivity, "SystemActivity", UIActivity, {})

std::int64_t& systemActivityRequiredFreeSpace() {
  static std::int64_t bytes = 0;
  return bytes;
}

std::string& systemActivitySubject() {
  static std::string& subject = *new std::string;
  return subject;
}

std::string SystemActivity::Items::message() const {
  return text.empty() || link.empty() ? text + link : text + "\n" + link;
}

SystemActivity::Items SystemActivity::read(const std::vector<UIActivityItem>& items) {
  Items found;
  int texts = 0;
  for (const UIActivityItem& item : items) {
    if (const auto* url = std::get_if<NSURL>(&item)) {
      found.movie = url->path();
    } else {
      (++texts == 2 ? found.link : found.text) = std::get<std::string>(item);
    }
  }
  return found;
}

bool SystemActivity::canPerformWithActivityItems(const std::vector<UIActivityItem>& items) {
  return isPossible(read(items));
}

void SystemActivity::prepareWithActivityItems(const std::vector<UIActivityItem>& items) {
  items_ = read(items);
}

Strong<UIImage> SystemActivity::activityImage() const {
  return UIImage::systemImageNamed(symbolName());
}

std::string SystemActivity::whyNotCopied(const NSErrorPtr& error, const std::string& movie, const std::string& folder,
                                         std::int64_t reserve) {
  UISaveFailure failure{error, folder, 0, ""};
  if (error->domain() == NSPOSIXErrorDomain && error->code() == ENOSPC) {
    failure.missingSpace =
        NSFileManager::defaultManager().missingSpaceToCopyItemAtPath_inFolder_withReserve(movie, folder, reserve);
  }
  return failure.message();
}

void SystemActivity::locateMovie(std::function<void(const std::string& path)> then) {
  const auto self = strongSelf(this);
  PHPhotoLibrary::sharedPhotoLibrary().locateOrSaveMovieAtPath_requiredFreeSpace_completionHandler(
      items_.movie, systemActivityRequiredFreeSpace(),
      [self, then = std::move(then), reserve = systemActivityRequiredFreeSpace()](const std::string& path,
                                                                                  const NSErrorPtr& error) {
        const std::string message =
            error ? whyNotCopied(error, self->items_.movie, PHPhotoLibrary::sharedPhotoLibrary().folder(), reserve)
                  : "";
        dispatch_async(dispatch_get_main_queue(), [self, then, path, error, message] {
          if (!error) return then(path);
          self->fail(UIKitLocalizedString("The movie could not be saved"), message);
        });
      });
}

void SystemActivity::openMovie(const std::string& path, const std::string& title,
                               std::function<void(const FileDescriptor& file)> then) {
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                 [self = strongSelf(this), path, title, then = std::move(then)] {
                   const auto file = std::make_shared<FileDescriptor>(open(path.c_str(), O_RDONLY | O_CLOEXEC));
                   const int failure = *file ? 0 : errno;
                   dispatch_async(dispatch_get_main_queue(), [self, path, title, then, file, failure] {
                     if (*file) return then(*file);
                     self->fail(title, NSError::posix(failure, path)->localizedDescription());
                   });
                 });
}

void SystemActivity::fail(const std::string& title, const std::string& message) {
  os_trace_error("%s: %s", title.c_str(), message.c_str());
  const auto alert =
      UIAlertController::alertControllerWithTitle_message_preferredStyle(title, message, UIAlertControllerStyle::Alert);
  alert->addAction(UIAlertAction::actionWithTitle_style_handler(
      UIKitLocalizedString("OK"), UIAlertActionStyle::Cancel,
      [self = strongSelf(this)](UIAlertAction&) { self->activityDidFinish(false); }));
  ask(alert);
}

void SystemActivity::ask(const Strong<UIAlertController>& alert) {
  if (const auto presenter = activityPresenter())
    presenter->presentViewController_animated_completion(alert, true, nullptr);
  if (!alert->presentingViewController()) activityDidFinish(false);
}
