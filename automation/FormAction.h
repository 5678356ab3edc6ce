#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"

#include <optional>
#include <string>

/// `form FIELD VALUE`: what a person does to give a field of a form this value: types into a line, turns a picker (and
/// opens and closes the row that shows it), turns a switch `on` or `off`, presses one of several words. Waits a moment
/// for the field to come on screen.
class FormAction : public ScriptAction {
 public:
  FormAction(ScriptContext& context, const ScriptStep& step);
  Answer tick() override;

 private:
  using Element = UIWindow::Reachable;
  enum class Phase { Find, TypedText, TurnedPicker, Check };

  std::optional<Element> find(UIAccessibilityRole role);
  std::optional<Element> findChoice();
  /// Scrolls the element into sight and presses it; an answer when that can't be done.
  std::optional<Answer> press(const Element& element);
  Answer tickFind();
  Answer tickType();
  Answer tickTurn();
  Answer tickCheck();
  Answer notYet(const std::string& why);

  ScriptContext& context_;
  std::string field_, value_;
  Phase phase_ = Phase::Find;
  double deadline_;
  bool openedPicker_ = false;
};
