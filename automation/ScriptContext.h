#pragma once

#include "editor/ZVVideoEditorViewController.h"
#include "platform/UIAutomation/UIAutomation.h"
#include "platform/UIKit/UIWindow.h"

#include <cstddef>

/// What the steps of a running script share. Main queue only.
class ScriptContext {
 public:
  explicit ScriptContext(UIAutomation& automation) : automation_(automation) {}

  UIAutomation& automation() const { return automation_; }
  UIWindow& window() const { return *automation_.window(); }
  /// The editor on screen; null before it is made and after it has finished.
  Strong<ZVVideoEditorViewController> editor();
  /// Whether there was an editor that is now gone: it has reported and was dismissed.
  bool hasFinished();

  /// Whether the editor, when last looked at, had begun a save that no `wait saved` has waited for yet. Also after the
  /// window has gone.
  bool hasNewSave() const;
  void acknowledgeSaves();
  /// Notes that an activity of the share sheet has been picked.
  void noteShare();
  /// Whether more has been reported as done than when the latest activity was picked.
  bool hasShared() const;
  /// Why an export or a save failed since the last `acknowledgeFailure`; empty when none did.
  std::string failure();
  void acknowledgeFailure();

  /// Seconds of a steady clock.
  static double now();

 private:
  UIAutomation& automation_;
  bool hadEditor_ = false;
  ActivityTypeList activityTypes_;  // outlives the editor, so that its last save is seen
  std::size_t acknowledgedSaves_ = 0, typesBeforeShare_ = 0;
  Weak<AVAssetExportSession> session_, acknowledgedSession_;
  int acknowledgedFailedSaves_ = 0;
  NSErrorPtr acknowledgedFailure_;
};
