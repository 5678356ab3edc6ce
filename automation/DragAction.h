#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"

#include <string>

/// `drag playhead|start|end SECONDS`: takes hold with the pointer, moves there in some steps, and lets go.
class DragAction : public ScriptAction {
 public:
  DragAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  Answer tickFind();
  Answer tickHold();
  Answer tickMove();
  Answer tickLetGo();

  Strong<UIMovieScrubber> timeline();
  double value(const UIMovieScrubber& timeline) const;
  void send(UIAutomation::Pointer kind, const UIMovieScrubber& timeline, CGFloat x);

  ScriptContext& context_;
  std::string name_;
  double target_;
  UIMovieScrubber::Handle handle_;
  double deadline_, nextMove_ = 0;
  enum class Phase { Find, Hold, Move, LetGo } phase_ = Phase::Find;
  CGPoint at_;        // in the timeline's coordinates
  CGFloat from_ = 0;  // where the way begins
  int moves_ = 0;
};
