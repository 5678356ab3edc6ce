#include "editor/ZVVideoEditorViewController.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/Foundation/ShownText.h"
#include "platform/Foundation/os_trace.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIKitStrings.h"
#include "support/NSFileManagerZVExtensions.h"

#include <cerrno>
#include <chrono>
#include <future>
#include <memory>
#include <utility>

namespace {

constexpr double kPatience = 1;         // seconds that a disk may take to say how full it is
constexpr double kAnotherMoment = 0.1;  // seconds until what is being dismissed is looked at again

using Obstacle = std::optional<UISaveFailure>;

/// The answer of `question`, asked on another queue: a disk that hangs must not hang the window, nor keep anybody from
/// trying to save.
Obstacle answerInTime(std::function<Obstacle()> question) {
  const auto promise = std::make_shared<std::promise<Obstacle>>();
  auto answer = promise->get_future();
  dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_HIGH),
                 [promise, question = std::move(question)] { promise->set_value(question()); });
  const bool inTime = answer.wait_for(std::chrono::duration<double>(kPatience)) == std::future_status::ready;
  return inTime ? answer.get() : std::nullopt;
}

Obstacle lackOfSpace(const std::string& folder, std::int64_t missing) {
  if (missing == 0) return {};
  return UISaveFailure::lackOfSpace(folder, missing);
}

/// Why `asset` can't be read as it was when it was opened; nothing when it can.
Obstacle changeOf(const AVURLAsset& asset) {
  if (asset.hasChanged()) return UISaveFailure::changedRecording();
  if (NSFileManager::defaultManager().isReadableFileAtPath(asset.readablePath())) return {};
  const bool isGone = !NSFileManager::defaultManager().fileExistsAtPath(asset.readablePath());
  return isGone ? Obstacle() : UISaveFailure::unreadableRecording(asset.URL().lastPathComponent());
}

}  // namespace

std::optional<UISaveFailure> ZVVideoEditorViewController::obstacleToSaving() {
  return answerInTime([asset = avAsset(), library = PHPhotoLibrary::sharedPhotoLibrary().folder()]() -> Obstacle {
    if (auto change = changeOf(*asset)) return change;
    return lackOfSpace(library, NSFileManager::defaultManager().missingSpaceToCopyItemAtPath_inFolder_withReserve(
                                    asset->readablePath(), library, ZVScreenRecorderRequiredFreeSpace));
  });
}

std::optional<UISaveFailure> ZVVideoEditorViewController::obstacleToExporting(
    const Strong<AVAssetExportSession>& session) {
  return answerInTime(
      [session, asset = avAsset(), library = PHPhotoLibrary::sharedPhotoLibrary().folder()]() -> Obstacle {
        if (auto change = changeOf(*asset)) return change;
        const NSFileManager& files = NSFileManager::defaultManager();
        const std::string& temporary = ZVExtensions::_srTempPath(files);
        if (files.isForeignFolderAtPath(temporary)) return UISaveFailure::foreignFolder(temporary);
        const bool shared = files.canShareBlocksOfItemAtPath_inFolder(asset->readablePath(), library);
        const std::int64_t copy = shared ? 0 : session->estimatedOutputFileLength();
        // The library's copy comes when the trimmed one is there.
        const bool oneDisk = files.isSameFileSystem(temporary, library);
        const std::int64_t reserve = ZVScreenRecorderRequiredFreeSpace + (oneDisk ? copy : 0);
        if (const auto lack = lackOfSpace(temporary, session->missingSpaceWithReserve(reserve))) return lack;
        if (oneDisk) return {};
        return lackOfSpace(library, ZVExtensions::_srMissingSpaceForBytes_inFolder(files, copy, library));
      });
}

UISaveFailure ZVVideoEditorViewController::failureOfExport(const AVAssetExportSession& session) {
  const NSErrorPtr error = session.error();
  if (avAsset()->hasChanged()) return UISaveFailure::changedRecording();
  const bool full = error->domain() == NSPOSIXErrorDomain && error->code() == ENOSPC;
  const std::int64_t missing = full ? session.missingSpaceWithReserve(ZVScreenRecorderRequiredFreeSpace) : 0;
  return {error, ZVExtensions::_srTempPath(NSFileManager::defaultManager()), missing, ""};
}

void ZVVideoEditorViewController::librarySaveDidEnd(const NSErrorPtr& error) {
  if (!isExporting()) hideExportProgress();
  if (!error) return;
  if (avAsset()->hasChanged()) {
    tellOfFailure(UISaveFailure::changedRecording());
    return;
  }
  const std::string library = PHPhotoLibrary::sharedPhotoLibrary().folder();
  const bool full = error->domain() == NSPOSIXErrorDomain && error->code() == ENOSPC;
  const std::int64_t missing = full ? ZVExtensions::_srMissingSpaceForBytes_inFolder(
                                          NSFileManager::defaultManager(), avAsset()->fileLength().value_or(0), library)
                                    : 0;
  tellOfFailure({error, library, missing, ""});
}

void ZVVideoEditorViewController::saveDidFail(const UISaveFailure& failure) {
  latestSaveFailed_ = true;
  // The trace is for developers. Who has closed the window reads it here.
  printMessage(std::string("the ") + (isTrimming() ? "selected part" : "movie") +
               " was not saved: " + failure.error->localizedDescription());
  tellOfFailure(failure);
}

void ZVVideoEditorViewController::tellOfFailure(const UISaveFailure& failure) {
  saveFailure_ = failure.error;
  presentMessage(UIKitLocalizedString("The movie could not be saved"), failure.message());
}

void ZVVideoEditorViewController::tellOfChangedMovie() {
  if (changedMovie_.lock() == avAsset() || !avAsset()->hasChanged()) return;
  changedMovie_ = avAsset();
  presentMessage(UIKitLocalizedString("The recording has changed"), UIChangedRecordingMessage());
}

bool ZVVideoEditorViewController::movieCanBeShared() {
  const auto change = answerInTime([asset = avAsset()] { return changeOf(*asset); });
  if (!change) return true;
  if (change->movie.empty()) changedMovie_ = avAsset();
  presentMessage(change->movie.empty() ? UIKitLocalizedString("The recording has changed")
                                       : UIKitLocalizedString("The recording can’t be read"),
                 change->message());
  return false;
}

void ZVVideoEditorViewController::tellOfUnreadableMovie() {
  const NSErrorPtr error = avPlayerItem()->error();
  os_trace_error("the movie on screen can't be read: %i", error ? error->code() : 0);
  const bool isCopy = !(videoURL() == originalVideoURL());
  std::string text = error ? displayText(error->localizedDescription()) : "";
  if (isCopy)
    text = UIUnreadableCopyMessage(ZVExtensions::_srTempPath(NSFileManager::defaultManager()));
  else if (avAsset()->hasChanged())
    text = UIChangedRecordingMessage();
  presentMessage(UIKitLocalizedString("The movie can’t be shown"), text);
  if (isCopy) showMovie(originalVideoURL());
}

void ZVVideoEditorViewController::presentMessage(const std::string& title, const std::string& text) {
  Strong<UIViewController> front = strongSelf();
  while (const auto above = front->presentedViewController()) front = above;
  if (front->isBeingDismissed()) {
    dispatch_after(kAnotherMoment, dispatch_get_main_queue(), [weak = weakSelf(), title, text] {
      if (const auto self = weak.lock()) self->presentMessage(title, text);
    });
    return;
  }
  const auto alert =
      UIAlertController::alertControllerWithTitle_message_preferredStyle(title, text, UIAlertControllerStyle::Alert);
  alert->addAction(
      UIAlertAction::actionWithTitle_style_handler(UIKitLocalizedString("OK"), UIAlertActionStyle::Default, nullptr));
  front->presentViewController_animated_completion(alert, true, nullptr);
}
