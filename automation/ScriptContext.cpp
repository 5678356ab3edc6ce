#include "automation/ScriptContext.h"

#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/UIKit/UIActivity.h"

#include <algorithm>
#include <chrono>

namespace {

bool isSame(const Weak<AVAssetExportSession>& weak, const Strong<AVAssetExportSession>& strong) {
  return !weak.owner_before(strong) && !strong.owner_before(weak);
}

}  // namespace

double ScriptContext::now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Strong<ZVVideoEditorViewController> ScriptContext::editor() {
  const auto principal = std::dynamic_pointer_cast<UIViewController>(automation_.principalObject());
  if (!principal) return nullptr;
  for (const Strong<UIViewController>& child : principal->childViewControllers()) {
    if (auto editor = std::dynamic_pointer_cast<ZVVideoEditorViewController>(child)) {
      hadEditor_ = true;
      activityTypes_ = editor->activityTypes();
      session_ = editor->exportSession();
      return editor;
    }
  }
  return nullptr;
}

bool ScriptContext::hasFinished() {
  return !editor() && hadEditor_;
}

bool ScriptContext::hasNewSave() const {
  return activityTypes_ && static_cast<std::size_t>(std::count(activityTypes_->begin(), activityTypes_->end(),
                                                               UIActivityTypeSaveToCameraRoll)) > acknowledgedSaves_;
}

void ScriptContext::acknowledgeSaves() {
  if (!activityTypes_) return;
  acknowledgedSaves_ = static_cast<std::size_t>(
      std::count(activityTypes_->begin(), activityTypes_->end(), UIActivityTypeSaveToCameraRoll));
}

void ScriptContext::noteShare() {
  editor();
  typesBeforeShare_ = activityTypes_ ? activityTypes_->size() : 0;
}

bool ScriptContext::hasShared() const {
  return activityTypes_ && activityTypes_->size() > typesBeforeShare_;
}

std::string ScriptContext::failure() {
  const Strong<ZVVideoEditorViewController> editor = this->editor();
  if (editor && editor->avPlayerItem()->status() == AVPlayerItemStatus::Failed) {
    const NSErrorPtr error = editor->avPlayerItem()->error();
    return "the movie can't be played" + (error ? ": " + error->localizedDescription() : "");
  }
  if (editor && editor->saveFailure() && editor->saveFailure() != acknowledgedFailure_) {
    return "the movie could not be saved: " + editor->saveFailure()->localizedDescription();
  }
  // An export that has failed may be followed by another try: then it still goes on.
  const bool isExporting = editor && editor->isExporting();
  if (const auto session = session_.lock(); session && !isExporting && !isSame(acknowledgedSession_, session)) {
    if (session->status() == AVAssetExportSessionStatus::Cancelled) return "the export was cancelled";
    if (session->status() == AVAssetExportSessionStatus::Failed) {
      const NSErrorPtr error = session->error();
      return "the export failed" + (error ? ": " + error->localizedDescription() : "");
    }
  }
  if (PHPhotoLibrary::sharedPhotoLibrary().failedSaveCount() > acknowledgedFailedSaves_) {
    return "a movie could not be saved to the library";
  }
  return "";
}

void ScriptContext::acknowledgeFailure() {
  if (const auto editor = this->editor()) acknowledgedFailure_ = editor->saveFailure();
  acknowledgedSession_ = session_;
  acknowledgedFailedSaves_ = PHPhotoLibrary::sharedPhotoLibrary().failedSaveCount();
}
