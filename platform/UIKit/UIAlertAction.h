#pragma once

#include "platform/Foundation/NSObject.h"

#include <functional>
#include <string>

enum class UIAlertActionStyle { Default = 0, Cancel = 1, Destructive = 2 };

/// One button of an alert. Main queue only.
class UIAlertAction : public NSObject {
 public:
  using Handler = std::function<void(UIAlertAction& action)>;
  /// `handler` (may be null) is called once, when the person has chosen the action and the alert is off the screen.
  static Strong<UIAlertAction> actionWithTitle_style_handler(std::string title, UIAlertActionStyle style,
                                                             Handler handler);
  const std::string& title() const { return title_; }
  UIAlertActionStyle style() const { return style_; }
  const Handler& handler() const { return handler_; }

 private:
  std::string title_;
  UIAlertActionStyle style_ = UIAlertActionStyle::Default;
  Handler handler_;
};
