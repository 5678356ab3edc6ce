#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"

/// `wait STATE [SECONDS]`, `wait text WORDS [SECONDS]`, `wait file PATH [SECONDS]`
class WaitAction : public ScriptAction {
 public:
  WaitAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  Answer tickSaved();
  Answer tickSettled();
  bool isReached(ZVVideoEditorViewController& editor);

  ScriptContext& context_;
  std::string state_, text_;
  double seconds_, deadline_;
  int quietTicks_ = 0;
};
