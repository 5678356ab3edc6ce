#pragma once

#include "platform/backends/portal/SystemActivity.h"

/// The movie on the clipboard as a file, text and link as a text. The file is that in the photo library, which stays.
class CopyActivity : public SystemActivity {
  ZV_OBJECT(CopyActivity)
 public:
  CopyActivity() = default;

  std::string activityType() const override { return UIActivityTypeCopyToPasteboard; }
  UIActivityCategory activityCategory() const override { return UIActivityCategory::Action; }
  std::string activityTitle() const override;
  void performActivity() override;

 protected:
  bool isPossible(const Items& items) const override;
  std::string symbolName() const override { return "copy"; }
};
