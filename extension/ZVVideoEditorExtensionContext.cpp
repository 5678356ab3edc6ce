#include "extension/ZVVideoEditorExtensionContext.h"

#include "extension/ZVVideoEditorExtensionConstants.h"
#include "platform/Foundation/os_trace.h"

ZV_REGISTER_CLASS(ZVVideoEditorExtensionContext, "ZVVideoEditorExtensionContext", NSExtensionContext, {})

namespace {

/// Puts the host's message on the wire.
class HostProxy : public ZVVideoEditorExtensionHostProtocol {
 public:
  explicit HostProxy(std::shared_ptr<NSXPCProxy> remote) : remote_(std::move(remote)) {}
  void extensionDidFinishWithActivityTypes(const std::vector<std::string>& activityTypes) override {
    if (remote_) remote_->send(ZVExtensionDidFinishSelector, activityTypes);
  }

 private:
  std::shared_ptr<NSXPCProxy> remote_;
};

}  // namespace

std::shared_ptr<NSXPCInterface> ZVVideoEditorExtensionContext::_extensionAuxiliaryVendorProtocol() {
  return NSXPCInterface::interfaceWithProtocol("ZVVideoEditorExtensionProtocol", {});
}

std::shared_ptr<NSXPCInterface> ZVVideoEditorExtensionContext::_extensionAuxiliaryHostProtocol() {
  return NSXPCInterface::interfaceWithProtocol("ZVVideoEditorExtensionHostProtocol", {ZVExtensionDidFinishSelector});
}

std::shared_ptr<ZVVideoEditorExtensionHostProtocol> ZVVideoEditorExtensionContext::extensionObjectProxy() {
  std::shared_ptr<NSXPCProxy> remote;
  if (const auto& connection = _auxiliaryConnection()) {
    remote = connection->remoteObjectProxyWithErrorHandler(
        [](const NSError& error) { os_trace_error("error calling extension - %i", error.code()); });
  }
  return std::make_shared<HostProxy>(std::move(remote));
}
