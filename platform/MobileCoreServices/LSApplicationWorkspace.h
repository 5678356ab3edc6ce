#pragma once

#include "platform/Foundation/NSObject.h"

#include <map>
#include <string>

/// The person's applications. Main queue only.
class LSApplicationWorkspace : public NSObject {
 public:
  static const Strong<LSApplicationWorkspace>& defaultWorkspace();

  /// Has the application for an address open it: through the desktop's portal, else with `xdg-open`. Returns at once:
  /// NO when the address is none of those that a person may be sent to (http, https, mailto, sms, xmpp, and those of
  /// chat applications; never a file or a program), YES when the request was passed on. `options` are not looked at.
  bool openSensitiveURL_withOptions(const std::string& url, const std::map<std::string, std::string>* options);
};
