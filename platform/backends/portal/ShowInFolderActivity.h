#pragma once

#include "platform/UIKit/UISystemActivities.h"
#include "platform/backends/portal/SystemActivity.h"

/// The movie in the file manager: that in the photo library, which stays.
class ShowInFolderActivity : public SystemActivity {
  ZV_OBJECT(ShowInFolderActivity)
 public:
  ShowInFolderActivity() = default;

  std::string activityType() const override { return UIActivityTypeShowInFolder; }
  UIActivityCategory activityCategory() const override { return UIActivityCategory::Action; }
  std::string activityTitle() const override;
  void performActivity() override;

 protected:
  bool isPossible(const Items& items) const override;
  std::string symbolName() const override { return "folder"; }

 private:
  void openFolder(const std::string& path);
  void openFolder(const std::string& path, const FileDescriptor& file);
};
