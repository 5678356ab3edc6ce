#pragma once

#include "platform/backends/portal/SystemActivity.h"

/// A mail with the movie attached, written in the person's own program: through the portal, else with `xdg-email`. Done
/// when the program shows the mail.
class MailActivity : public SystemActivity {
  ZV_OBJECT(MailActivity)
 public:
  MailActivity() = default;

  std::string activityType() const override { return UIActivityTypeMail; }
  std::string activityTitle() const override;
  void performActivity() override;

 protected:
  bool isPossible(const Items& items) const override;
  std::string symbolName() const override { return "mail"; }

 private:
  void usePortal(const std::string& path, const FileDescriptor& file);
  void useProgram(const std::string& path);
};
