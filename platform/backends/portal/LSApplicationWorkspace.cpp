#include "platform/MobileCoreServices/LSApplicationWorkspace.h"

#include "platform/Foundation/os_trace.h"
#include "platform/backends/portal/AddressOpener.h"

const Strong<LSApplicationWorkspace>& LSApplicationWorkspace::defaultWorkspace() {
  static const auto workspace = std::make_shared<LSApplicationWorkspace>();
  return workspace;
}

bool LSApplicationWorkspace::openSensitiveURL_withOptions(const std::string& url,
                                                          const std::map<std::string, std::string>*) {
  if (!isOpenableAddress(url)) {
    os_trace_error("an address was not opened: only pages on the web and messages are");
    return false;
  }
  openAddress(url, [](OpenOutcome outcome) {
    if (outcome == OpenOutcome::Failed) os_trace_error("no application has opened the address");
  });
  return true;
}
