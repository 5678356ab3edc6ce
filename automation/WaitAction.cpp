#include "automation/WaitAction.h"

#include "platform/Dispatch/EssentialWork.h"
#include "platform/Photos/PHPhotoLibrary.h"
#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIAlertController.h"
#include "platform/UIKit/UIDevice.h"

#include <filesystem>
#include <sstream>

namespace {

/// Whether the timeline is attached and, where pictures can be looked at, the first one has come.
bool isReady(ZVVideoEditorViewController& editor) {
  if (editor.avPlayerItem()->status() != AVPlayerItemStatus::ReadyToPlay || !editor.avTrimmer()->dataSource()) {
    return false;
  }
  const bool rendersInSoftware = UIDevice::currentDevice()->_graphicsQuality() <= 10;
  return !rendersInSoftware || editor.avAsset()->tracksWithMediaType(AVMediaTypeVideo).empty() ||
         editor.avPlayer()->videoOutput()->copyFrame();
}

}  // namespace

WaitAction::WaitAction(ScriptContext& context, const ScriptStep& step)
    : context_(context),
      state_(step.name),
      text_(step.value),
      seconds_(step.seconds),
      deadline_(ScriptContext::now() + step.seconds) {}

ScriptAction::Answer WaitAction::tick() {
  const Strong<ZVVideoEditorViewController> editor = context_.editor();
  Answer answer = pending();
  if (state_ == "saved") {
    answer = tickSaved();
  } else if (state_ == "settled" || (state_ == "finished" && !context_.failure().empty())) {
    answer = tickSettled();  // a save that fails keeps the editor on screen
    if (answer.done && state_ == "settled") {
      context_.acknowledgeSaves();
      context_.acknowledgeFailure();
    }
  } else if (state_ == "shared") {
    if (context_.hasShared()) answer = done();
  } else if (state_ == "alert") {
    const auto front = context_.window().frontmostPresentedViewController();
    if (std::dynamic_pointer_cast<UIAlertController>(front) && !CAAnimator::shared().isAnimating()) answer = done();
  } else if (state_ == "text") {
    for (const auto& found : context_.window().reachableElements()) {
      if (found.element.label.find(text_) != std::string::npos) answer = done();
    }
  } else if (state_ == "file") {
    std::error_code error;
    if (std::filesystem::exists(text_, error)) answer = done();
  } else if (state_ == "failed") {
    if (!context_.failure().empty()) answer = tickSettled();
    if (answer.done) context_.acknowledgeFailure();
  } else if (editor && isReached(*editor)) {
    answer = done();
  } else if (editor && state_ == "ready" && editor->avPlayerItem()->status() == AVPlayerItemStatus::Failed) {
    answer = failed(context_.failure());
  }
  if (answer.done || ScriptContext::now() < deadline_) return answer;
  std::ostringstream why;
  why << "waited " << seconds_ << " s for \"" << (text_.empty() ? state_ : text_) << "\" in vain";
  return failed(why.str());
}

ScriptAction::Answer WaitAction::tickSaved() {
  const std::string failure = context_.failure();
  if (!failure.empty()) return failed(failure);
  if (!context_.hasNewSave()) return pending();
  const Strong<ZVVideoEditorViewController> editor = context_.editor();
  if (editor && editor->isExporting()) return pending();
  if (PHPhotoLibrary::sharedPhotoLibrary().hasPendingSaves()) return pending();
  context_.acknowledgeSaves();
  return done();
}

ScriptAction::Answer WaitAction::tickSettled() {
  const Strong<ZVVideoEditorViewController> editor = context_.editor();
  const bool isQuiet =
      !(editor && editor->isExporting()) && !EssentialWork::isUnderWay() && !CAAnimator::shared().isAnimating();
  // What has ended last may have something to say on its way to the main queue.
  quietTicks_ = isQuiet ? quietTicks_ + 1 : 0;
  return quietTicks_ > 1 ? done() : pending();
}

bool WaitAction::isReached(ZVVideoEditorViewController& editor) {
  const AVPlayer& player = *editor.avPlayer();
  if (state_ == "ready") return isReady(editor);
  if (state_ == "playing") return player.rate() != 0;
  if (state_ == "paused") return player.rate() == 0 && !player.isSeeking();
  if (state_ == "editing") return editor.isTrimming();
  return false;  // "finished": the end of the program
}
