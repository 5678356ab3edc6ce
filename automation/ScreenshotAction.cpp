#include "automation/ScreenshotAction.h"

#include "platform/QuartzCore/CAAnimator.h"

#include <algorithm>

ScreenshotAction::ScreenshotAction(ScriptContext& context, const ScriptStep& step)
    : context_(context), path_(step.name), deadline_(ScriptContext::now() + 2) {}

ScriptAction::Answer ScreenshotAction::tick() {
  if (written_) {
    if (!written_->has_value()) return pending();
    return written_->value() ? done() : failed("can't write the picture " + path_);
  }
  if (!isSettled() && ScriptContext::now() < deadline_) return pending();
  written_ = std::make_shared<std::optional<bool>>();
  context_.automation().screenshot(path_, [written = written_](bool succeeded) { *written = succeeded; });
  return pending();
}

bool ScreenshotAction::isSettled() {
  if (CAAnimator::shared().isAnimating()) return false;
  const auto editor = context_.editor();
  if (!editor) return true;
  if (editor->avPlayer()->isSeeking()) return false;
  const UIMovieScrubber::Look look = editor->avTrimmer()->look();
  if (look.editing > 0 && look.editing < 1) return false;  // handles appear or go
  return std::all_of(look.thumbnails.begin(), look.thumbnails.end(),
                     [](const UIMovieScrubber::Look::Thumbnail& thumbnail) { return thumbnail.image != nullptr; });
}
