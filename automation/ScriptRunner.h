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

  /// Starts in a later turn of the main queue. One script in a process.
  static void start(UIAutomation& automation, Script script);

  /// For the end of the process, when the window has gone and all saves are on disk: `status`, or the failure of the
  /// step that could not be done any more.
  static int exitStatus(int status);

  ScriptRunner(UIAutomation& automation, Script script);

 private:
  static std::shared_ptr<ScriptRunner>& current();
  void scheduleTick();
  void tick();
  /// Does the step, or makes its action.
  ScriptAction::Answer begin(const ScriptStep& step);
  ScriptAction::Answer print(const ScriptStep& step);
  void fail(int line, const std::string& why);
  void end();
  bool isKeptByAlert();
  /// The first step that the end of the editor keeps from being done, or null.
  const ScriptStep* stepLeftOver();

  ScriptContext context_;
  Script script_;
  std::size_t next_ = 0;
  std::unique_ptr<ScriptAction> action_;
  bool failed_ = false;
  double endDeadline_ = 0;
};
