#pragma once

#include "extension/ZVVideoEditorExtensionProtocols.h"
#include "platform/Foundation/NSExtension.h"

#include <memory>

/// The extension's side of the private connection. Named by the bundle's property list.
class ZVVideoEditorExtensionContext : public NSExtensionContext, public ZVVideoEditorExtensionProtocol {
  ZV_OBJECT(ZVVideoEditorExtensionContext)
 public:
  /// What the extension offers its host: an interface without messages.
  static std::shared_ptr<NSXPCInterface> _extensionAuxiliaryVendorProtocol();
  /// What the host offers: the one message that reports the end.
  static std::shared_ptr<NSXPCInterface> _extensionAuxiliaryHostProtocol();

  std::shared_ptr<NSXPCInterface> auxiliaryVendorInterface() const override {
    return _extensionAuxiliaryVendorProtocol();
  }
  std::shared_ptr<NSXPCInterface> auxiliaryHostInterface() const override { return _extensionAuxiliaryHostProtocol(); }

  /// The host's object on the private connection, made anew at each call. When the host can't be reached, a message to
  /// it is lost and "error calling extension - %i" is traced.
  std::shared_ptr<ZVVideoEditorExtensionHostProtocol> extensionObjectProxy();
};
