#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"

#include <optional>

/// `drag playhead|start|end SECONDS`: takes hold with the pointer, moves there in some steps, and lets go.
class DragAction : public ScriptAction {
 public:
  DragAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  Answer tickFind();
  Answer tickHold();
  Answer tickMove();
  Answer tickCorrect();
  Answer tickLetGo();

  Strong<UIMovieScrubber> timeline();
  double value(const UIMovieScrubber& timeline) const;
  std::optional<CGPoint> grip(const UIMovieScrubber::Look& look) const;
  void send(UIAutomation::Pointer kind, const UIMovieScrubber& timeline, CGFloat x);

  ScriptContext& context_;
  std::string name_;
  double target_;
  UIMovieScrubber::Handle handle_;
  double deadline_, nextMove_ = 0;
  enum class Phase { Find, Hold, Move, Correct, LetGo } phase_ = Phase::Find;
  CGPoint at_;  // in the timeline's coordinates
  double secondsPerPoint_ = 0;
  CGFloat from_ = 0, to_ = 0;  // of the planned way
  int moves_ = 0, corrections_ = 0;
  double bestError_ = 0;
  int worse_ = 0;
};
