#pragma once

#include "platform/UIKit/UISystemActivities.h"
#include "platform/backends/portal/SystemActivity.h"

#include <memory>
#include <string>

/// A copy of the movie where the person says, in the desktop's own dialog. Whole or not at all.
class SaveCopyActivity : public SystemActivity {
  ZV_OBJECT(SaveCopyActivity)
 public:
  SaveCopyActivity() = default;

  std::string activityType() const override { return UIActivityTypeSaveToFiles; }
  UIActivityCategory activityCategory() const override { return UIActivityCategory::Action; }
  std::string activityTitle() const override;
  void performActivity() override;

 protected:
  bool isPossible(const Items& items) const override;
  std::string symbolName() const override { return "save"; }

 private:
  /// The movie as it was when the person asked for the copy.
  struct Source;
  void copyTo(const std::shared_ptr<Source>& source, const std::string& path);
};
