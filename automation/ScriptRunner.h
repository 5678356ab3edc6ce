#pragma once

#include "automation/Script.h"
#include "automation/ScriptAction.h"
#include "automation/ScriptContext.h"

#include <memory>

/// Carries out a script, one step after the other, by watching the editor's state every few milliseconds. Main queue
/// only.
///
/// A step that can't be done writes "script line N: why" to standard error and ends the program with status 3. When the
/// script is over and the editor is still there, that is as if the person closed the window: Cancel, and status 0.
class ScriptRunner : public std::enable_shared_from_this<ScriptRunner> {
 public:
  static constexpr int kFailureStatus = 3;

  /// Starts in a later turn of the main queue; the runner keeps itself alive until it has ended.
  static void start(UIAutomation& automation, Script script);

  ScriptRunner(UIAutomation& automation, Script script);

 private:
  void scheduleTick();
  void tick();
  /// Does the step, or makes its action.
  ScriptAction::Answer begin(const ScriptStep& step);
  ScriptAction::Answer print(const ScriptStep& step);
  void fail(int line, const std::string& why);
  void end();

  ScriptContext context_;
  Script script_;
  std::size_t next_ = 0;
  std::unique_ptr<ScriptAction> action_;
  double endDeadline_ = 0;
};
