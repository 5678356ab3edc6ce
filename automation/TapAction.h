#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"

#include <optional>

/// `tap NAME`: presses and lets go in the middle of what bears that name. Waits a moment for it to come on screen.
class TapAction : public ScriptAction {
 public:
  TapAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  std::optional<CGPoint> find();
  std::optional<CGPoint> findVideo();
  std::optional<CGPoint> findOverlay();
  std::optional<CGPoint> findNamed();

  ScriptContext& context_;
  std::string name_, why_;
  double deadline_;
  enum class Phase { Find, Release, Settle } phase_ = Phase::Find;
  CGPoint at_;
};
