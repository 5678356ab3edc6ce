#include "editor/NSFileManagerZVExtensions.h"
#include "editor/ZVVideoEditorViewController.h"
#include "platform/Dispatch/MainQueueReference.h"
#include "platform/Foundation/os_trace.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIActivity.h"

void ZVVideoEditorViewController::saveAction() {
  activityTypes()->emplace_back(UIActivityTypeSaveToCameraRoll);
  if (isTrimming()) {
    exportTrimVideoSaveToCameraRoll();
    return;
  }
  // Held by the change until the library has taken hold of the file: the editor deletes it when it goes away.
  const auto self = MainQueueReference(strongSelf());
  doneAction();
  PHPhotoLibrary::sharedPhotoLibrary().performChanges_completionHandler(
      [self] { PHAssetChangeRequest::creationRequestForAssetFromVideoAtFileURL(self->videoURL()); },
      [](bool, const NSErrorPtr& error) {
        if (error) os_trace_error("Error writing video to camera roll: %d", error->code());
      });
}

void ZVVideoEditorViewController::exportTrimVideoSaveToCameraRoll() {
  if (isExporting()) return;  // one export at a time: the range is being saved already

  // The latest trimmed copy may be the movie on screen, and so what is exported from; then it goes only after the
  // export has succeeded. A copy whose name is used again is replaced by the export itself.
  const NSURL previous = trimFilePath();
  const NSURL output = trimFileURL();
  const bool previousIsSource = previous == avAsset()->URL();
  if (!previousIsSource && !(previous == output)) {
    ZVExtensions::_srRemoveFile_completion(NSFileManager::defaultManager(), previous, nullptr);
  }
  setExporting(true);
  const auto session = AVAssetExportSession::initWithAsset_presetName(avAsset(), AVAssetExportPresetPassthrough);
  setExportSession(session);
  setTrimFilePath(output);
  session->setOutputURL(trimFilePath());
  session->setOutputFileType(AVFileTypeM4V);
  const std::int32_t timescale = avPlayer() ? avPlayer()->currentTime().timescale : 0;
  const CMTime start = CMTimeMakeWithSeconds(editStartTime(), timescale);
  const CMTime end = CMTimeMakeWithSeconds(editEndTime(), timescale);
  session->setTimeRange(CMTimeRangeMake(start, CMTimeSubtract(end, start)));

  const NSURL source = previousIsSource ? previous : NSURL();
  session->exportAsynchronouslyWithCompletionHandler(
      [self = MainQueueReference(strongSelf()), weakSession = Weak<AVAssetExportSession>(session), source] {
        const auto ended = weakSession.lock();
        const AVAssetExportSessionStatus status = ended->status();
        if (status == AVAssetExportSessionStatus::Cancelled) {
          os_trace("ZXVideoEditorViewController: Export Trim Video Cancelled");
        } else if (status == AVAssetExportSessionStatus::Failed) {
          os_trace("ZXVideoEditorViewController: Export Trim Video Failed, due to error: %i", ended->error()->code());
        } else {
          dispatch_sync(dispatch_get_main_queue(), [&] { self->trimExportDidEnd(ended, source); });
          return;
        }
        dispatch_async(dispatch_get_main_queue(), [self, source] {
          // Nothing was written: the copy that is on screen is still the one to delete at the end.
          if (source) self->setTrimFilePath(source);
          self->setExporting(false);
        });
      });
}

void ZVVideoEditorViewController::trimExportDidEnd(const Strong<AVAssetExportSession>& session,
                                                   const NSURL& replacedFile) {
  UISaveVideoAtPathToSavedPhotosAlbum(session->outputURL().path());
  setExporting(false);
  NSNotificationCenter::defaultCenter().removeObserver(this);
  reloadAVLayerWithURL(session->outputURL());
  observeEndOfMovie();
  if (replacedFile && !(replacedFile == session->outputURL())) {
    ZVExtensions::_srRemoveFile_completion(NSFileManager::defaultManager(), replacedFile, nullptr);
  }
}
