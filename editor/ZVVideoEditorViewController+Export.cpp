#include "editor/ZVVideoEditorViewController.h"
#include "platform/Dispatch/MainQueueReference.h"
#include "platform/Foundation/os_trace.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIActivity.h"
#include "support/NSFileManagerZVExtensions.h"

#include <cerrno>
#include <utility>

void ZVVideoEditorViewController::saveAction() {
  latestSaveFailed_ = false;
  isSecondExport_ = false;
  saveFailure_ = nullptr;
  activityTypes()->emplace_back(UIActivityTypeSaveToCameraRoll);
  if (isTrimming()) {
    exportTrimVideoSaveToCameraRoll();
    return;
  }
  if (const auto failure = obstacleToSaving()) {
    os_trace_error("Error writing video to camera roll: %d", failure->error->code());
    saveDidFail(*failure);
    return;
  }
  // Held by the change until the library has taken hold of the file: the editor deletes it when it goes away.
  const auto self = MainQueueReference(strongSelf());
  doneAction();
  PHPhotoLibrary::sharedPhotoLibrary().performChanges_completionHandler(
      [self, asset = avAsset()] {
        PHAssetChangeRequest::creationRequestForAssetFromVideoAtFileURL(self->videoURL(),
                                                                        [asset] { return asset->hasChanged(); });
      },
      [weak = weakSelf()](bool, const NSErrorPtr& error) {
        if (error) os_trace_error("Error writing video to camera roll: %d", error->code());
        dispatch_async(dispatch_get_main_queue(), [weak, error] {
          if (const auto self = weak.lock()) self->librarySaveDidEnd(error);
        });
      });
  watchSaveProgress();
}

void ZVVideoEditorViewController::exportTrimVideoSaveToCameraRoll() {
  const std::pair range(editStartTime(), editEndTime());
  if (isExporting()) {
    // One export at a time. A range that was changed meanwhile has its turn afterwards.
    exportAgain_ = range != exportedRange_;
    return;
  }
  const auto session = AVAssetExportSession::initWithAsset_presetName(avAsset(), AVAssetExportPresetPassthrough);
  const NSURL output = trimFileURL();
  session->setOutputURL(output);
  session->setOutputFileType(AVFileTypeM4V);
  const std::int32_t timescale = avPlayer() ? avPlayer()->currentTime().timescale : 0;
  const CMTime start = CMTimeMakeWithSeconds(editStartTime(), timescale);
  const CMTime end = CMTimeMakeWithSeconds(editEndTime(), timescale);
  session->setTimeRange(CMTimeRangeMake(start, CMTimeSubtract(end, start)));
  if (const auto failure = obstacleToExporting(session)) {
    os_trace("ZXVideoEditorViewController: Export Trim Video Failed, due to error: %i", failure->error->code());
    saveDidFail(*failure);
    return;
  }
  exportedRange_ = range;

  // A trimmed copy that is on screen is what is exported from: it goes only after the export has succeeded, which also
  // replaces it when it has the same name. Files that this editor has not made are never removed.
  NSFileManager& manager = NSFileManager::defaultManager();
  const NSURL shownCopy = avAsset()->URL() == originalVideoURL() ? NSURL() : avAsset()->URL();
  const NSURL previous = trimFilePath();
  if (trimFileMade_ && !(previous == shownCopy)) {
    if (previous == output) {
      manager.removeItemAtPath_error(previous.path(), nullptr);  // at once: the name is used again
    } else {
      ZVExtensions::_srRemoveFile_completion(manager, previous, nullptr);
    }
  }
  setExporting(true);
  setExportSession(session);
  setTrimFilePath(output);
  session->exportAsynchronouslyWithCompletionHandler(
      [self = MainQueueReference(strongSelf()), weakSession = Weak<AVAssetExportSession>(session), shownCopy] {
        const auto ended = weakSession.lock();
        const AVAssetExportSessionStatus status = ended->status();
        if (status == AVAssetExportSessionStatus::Cancelled) {
          os_trace("ZXVideoEditorViewController: Export Trim Video Cancelled");
        } else if (status == AVAssetExportSessionStatus::Failed) {
          const NSErrorPtr error = ended->error();
          os_trace("ZXVideoEditorViewController: Export Trim Video Failed, due to error: %i", error->code());
        } else {
          dispatch_sync(dispatch_get_main_queue(), [&] { self->trimExportDidEnd(ended, shownCopy); });
          return;
        }
        dispatch_async(dispatch_get_main_queue(), [self, shownCopy] {
          // Nothing was written: the copy that is on screen, if any, is the one to delete at the end.
          self->trimFileMade_ = static_cast<bool>(shownCopy);
          if (shownCopy) self->setTrimFilePath(shownCopy);
          self->exportAgain_ = false;
          if (self->exportInAnotherSecond()) return;
          self->setExporting(false);
          self->hideExportProgress();
          if (self->exportSession()->error()) self->saveDidFail(self->failureOfExport(*self->exportSession()));
        });
      });
  watchExportProgress();
}

bool ZVVideoEditorViewController::exportInAnotherSecond() {
  const NSErrorPtr error = exportSession()->error();
  const bool isTaken = error && error->domain() == NSPOSIXErrorDomain && error->code() == EEXIST;
  if (!isTaken || std::exchange(isSecondExport_, true)) return false;
  dispatch_after(1, dispatch_get_main_queue(), [weak = weakSelf()] {
    const auto self = weak.lock();
    if (!self) return;
    self->setExporting(false);
    self->hideExportProgress();
    if (self->isTrimming()) self->exportTrimVideoSaveToCameraRoll();
  });
  return true;
}

void ZVVideoEditorViewController::trimExportDidEnd(const Strong<AVAssetExportSession>& session,
                                                   const NSURL& replacedFile) {
  UISaveVideoAtPathToSavedPhotosAlbum(session->outputURL().path(), [weak = weakSelf()](const NSErrorPtr& error) {
    dispatch_async(dispatch_get_main_queue(), [weak, error] {
      if (const auto self = weak.lock()) self->librarySaveDidEnd(error);
    });
  });
  setExporting(false);
  hideExportProgress();
  watchSaveProgress();
  trimFileMade_ = true;
  if (std::exchange(exportAgain_, false) && isTrimming()) {
    exportTrimVideoSaveToCameraRoll();
    return;
  }
  tellOfChangedMovie();  // what was cut out is whole, but may not be what was seen
  showMovie(session->outputURL());
  if (replacedFile && !(replacedFile == session->outputURL())) {
    ZVExtensions::_srRemoveFile_completion(NSFileManager::defaultManager(), replacedFile, nullptr);
  }
}
