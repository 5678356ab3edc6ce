#pragma once

#include "platform/backends/portal/SystemActivity.h"

/// A message with text and link, written in the person's chat application. An address can carry no file, so the movie
/// goes to the clipboard, to be pasted into the conversation; the person is told before. Done when the application has
/// opened.
class MessageActivity : public SystemActivity {
  ZV_OBJECT(MessageActivity)
 public:
  MessageActivity() = default;

  std::string activityType() const override { return UIActivityTypeMessage; }
  std::string activityTitle() const override;
  void performActivity() override;

 protected:
  bool isPossible(const Items& items) const override;
  std::string symbolName() const override { return "message"; }
};
