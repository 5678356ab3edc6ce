#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"

/// `wait STATE [SECONDS]`
class WaitAction : public ScriptAction {
 public:
  WaitAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  Answer tickSaved();
  bool isReached(ZVVideoEditorViewController& editor);

  ScriptContext& context_;
  std::string state_;
  double seconds_, deadline_;
};
