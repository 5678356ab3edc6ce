#pragma once

#include "platform/backends/portal/SystemActivity.h"

/// A post with the link, written on the network's own page in the person's browser. Done when the page was opened.
class SocialPostActivity : public SystemActivity {
  ZV_OBJECT(SocialPostActivity)
 public:
  SocialPostActivity() = default;

  std::string activityType() const override { return UIActivityTypePostToFacebook; }
  std::string activityTitle() const override;
  void performActivity() override;

 protected:
  bool isPossible(const Items& items) const override;
  std::string symbolName() const override { return "post"; }
};
