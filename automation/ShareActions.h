#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"
#include "automation/TapAction.h"

#include <memory>

/// `share`: taps Share and waits until the share sheet is in place.
class ShareAction : public ScriptAction {
 public:
  ShareAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  ScriptContext& context_;
  TapAction tap_;
  bool tapped_ = false;
  double deadline_ = 0;
};

/// `activity NAME`: taps the activity with that title or type in the share sheet, and waits until the sheet has gone.
class ActivityAction : public ScriptAction {
 public:
  ActivityAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  Answer tickFind();

  ScriptContext& context_;
  std::string name_;
  std::unique_ptr<TapAction> tap_;
  double deadline_;
};

/// `alert BUTTON`: waits for an alert, taps that button and waits until the alert has gone. `answer BUTTON`: the same,
/// if there is an alert, or a form where that button can be tapped.
class AlertAction : public ScriptAction {
 public:
  AlertAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  ScriptContext& context_;
  ScriptStep step_;
  std::unique_ptr<TapAction> tap_;
  Weak<UIViewController> alert_;
  double deadline_;
};
