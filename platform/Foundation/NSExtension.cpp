#include "platform/Foundation/NSExtension.h"

#include <algorithm>

ZV_REGISTER_CLASS(NSExtensionContext, "NSExtensionContext", NSObject, {})

std::shared_ptr<NSXPCInterface> NSXPCInterface::interfaceWithProtocol(std::string protocolName,
                                                                      std::vector<std::string> oneWaySelectors) {
  auto interface = std::make_shared<NSXPCInterface>();
  interface->protocolName_ = std::move(protocolName);
  interface->selectors_ = std::move(oneWaySelectors);
  return interface;
}

bool NSXPCInterface::hasSelector(const std::string& selector) const {
  return std::find(selectors_.begin(), selectors_.end(), selector) != selectors_.end();
}
