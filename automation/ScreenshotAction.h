#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"

#include <memory>
#include <optional>

/// `screenshot FILE.png`: writes the window's picture once nothing moves any more but the video itself: fades have
/// ended, seeks have landed and the timeline has its pictures. Waits two seconds for that at most.
class ScreenshotAction : public ScriptAction {
 public:
  ScreenshotAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  bool isSettled();

  ScriptContext& context_;
  std::string path_;
  double deadline_;
  /// Whether the picture was written; shared with the callback, which may come after this has gone.
  std::shared_ptr<std::optional<bool>> written_;
};
