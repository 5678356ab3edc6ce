#pragma once

#include <string>
#include <vector>

/// What the extension offers on the private connection: nothing.
class ZVVideoEditorExtensionProtocol {
 public:
  virtual ~ZVVideoEditorExtensionProtocol() = default;
};

/// What the host offers on the private connection, as seen from the extension. One-way: calls return at once.
class ZVVideoEditorExtensionHostProtocol {
 public:
  virtual ~ZVVideoEditorExtensionHostProtocol() = default;
  /// The person is done; `activityTypes` are the save and share activities that completed, in order.
  virtual void extensionDidFinishWithActivityTypes(const std::vector<std::string>& activityTypes) = 0;
};
