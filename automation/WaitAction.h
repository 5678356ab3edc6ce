#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"

/// `wait STATE [SECONDS]`, `wait text WORDS [SECONDS]`
class WaitAction : public ScriptAction {
 public:
  WaitAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  Answer tickSaved();
  bool isReached(ZVVideoEditorViewController& editor);

  ScriptContext& context_;
  std::string state_, text_;
  double seconds_, deadline_;
};
