#pragma once

#include <memory>
#include <string>
#include <vector>

class ZVVideoEditorViewController;

/// The save and share activity types that completed, in order of completion; one list shared with the editor.
using ActivityTypeList = std::shared_ptr<std::vector<std::string>>;

/// Told by the editor when the person is done. Main queue.
class ZVVideoEditorViewControllerDelegate {
 public:
  virtual ~ZVVideoEditorViewControllerDelegate() = default;
  /// `activityTypes` is the editor's own list: a later save still shows in it.
  virtual void videoEditor_didFinishWithActivityTypes(const std::shared_ptr<ZVVideoEditorViewController>& editor,
                                                      const ActivityTypeList& activityTypes) = 0;
};
