#pragma once

#include "platform/Foundation/NSError.h"
#include "platform/Foundation/NSObject.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The type identifier of plain data, which every value from the host is offered under.
inline constexpr const char* kUTTypeData = "public.data";

/// Offers one value that lives in the host and is fetched on request.
class NSItemProvider : public NSObject {
 public:
  /// Called once, on a queue of the platform's choosing, never on the main queue: the value, or an error.
  using CompletionHandler = std::function<void(const std::string& value, NSErrorPtr error)>;
  /// Fetches the value; asynchronous, may be called from any thread.
  using Loader = std::function<void(const std::string& typeIdentifier, CompletionHandler)>;

  NSItemProvider(std::vector<std::string> typeIdentifiers, Loader loader)
      : types_(std::move(typeIdentifiers)), loader_(std::move(loader)) {}

  bool hasItemConformingToTypeIdentifier(const std::string& typeIdentifier) const;
  /// Returns at once.
  void loadItemForTypeIdentifier_options_completionHandler(const std::string& typeIdentifier, const void* options,
                                                           CompletionHandler completion) const;

 private:
  std::vector<std::string> types_;
  Loader loader_;
};

/// One input of the extension: a title that names it, and what is attached.
class NSExtensionItem : public NSObject {
 public:
  const std::string& attributedTitle() const { return title_; }
  void setAttributedTitle(std::string plainText) { title_ = std::move(plainText); }
  const std::vector<Strong<NSItemProvider>>& attachments() const { return attachments_; }
  void setAttachments(std::vector<Strong<NSItemProvider>> attachments) { attachments_ = std::move(attachments); }

 private:
  std::string title_;
  std::vector<Strong<NSItemProvider>> attachments_;
};

/// The methods that one side of a private connection offers: names with the number of arguments given by the colons.
class NSXPCInterface {
 public:
  static std::shared_ptr<NSXPCInterface> interfaceWithProtocol(std::string protocolName,
                                                               std::vector<std::string> oneWaySelectors);
  const std::string& protocolName() const { return protocolName_; }
  bool hasSelector(const std::string& selector) const;
  bool isEmpty() const { return selectors_.empty(); }

 private:
  std::string protocolName_;
  std::vector<std::string> selectors_;
};

/// The far end of a private connection. Messages are one-way: the call returns at once and no reply is awaited.
class NSXPCProxy {
 public:
  virtual ~NSXPCProxy() = default;
  /// Sends `selector` with one array-of-strings argument. A selector that the remote interface lacks, or a connection
  /// that has gone, calls the proxy's error handler.
  virtual void send(const std::string& selector, const std::vector<std::string>& argument) = 0;
};

/// The private connection between host and extension.
class NSXPCConnection {
 public:
  virtual ~NSXPCConnection() = default;
  /// The handler may be called on any queue.
  virtual std::shared_ptr<NSXPCProxy> remoteObjectProxyWithErrorHandler(
      std::function<void(const NSError&)> handler) = 0;
};

/// What the extension is given by its host.
class NSExtensionContext : public NSObject {
  ZV_OBJECT(NSExtensionContext)
 public:
  const std::vector<Strong<NSExtensionItem>>& inputItems() const { return inputItems_; }
  const std::shared_ptr<NSXPCConnection>& _auxiliaryConnection() const { return connection_; }

  // For the machinery that starts the extension.
  void setInputItems(std::vector<Strong<NSExtensionItem>> items) { inputItems_ = std::move(items); }
  void setAuxiliaryConnection(std::shared_ptr<NSXPCConnection> connection) { connection_ = std::move(connection); }
  /// The interfaces of the private connection, what the extension offers and what the host does; the context's class
  /// supplies both. Asked for once, when the connection is set up; without them the extension does not start.
  virtual std::shared_ptr<NSXPCInterface> auxiliaryVendorInterface() const { return nullptr; }
  virtual std::shared_ptr<NSXPCInterface> auxiliaryHostInterface() const { return nullptr; }

 private:
  std::vector<Strong<NSExtensionItem>> inputItems_;
  std::shared_ptr<NSXPCConnection> connection_;
};

/// An extension that is installed beside this one, such as another application's for the share sheet: a bundle
/// "Name.appex" in the folder "/System/Library/PlugIns" under the program's prefix (see systemPath), with its
/// CFBundleIdentifier in its property list. A person disables one with an empty file named after the identifier in
/// "zevanti/disabled-extensions" of their configuration folder ($XDG_CONFIG_HOME, else ~/.config).
class NSExtension : public NSObject {
 public:
  /// The extension with that identifier; null when none is installed, or when it is disabled and those are left out.
  /// `error` (may be null) is set when the folder is there and can't be read. Any thread; reads a few small files.
  static Strong<NSExtension> extensionWithIdentifier_excludingDisabledExtensions_error(const std::string& identifier,
                                                                                       bool excludingDisabled,
                                                                                       NSErrorPtr* error);

  NSExtension(std::string identifier, std::string bundlePath)
      : identifier_(std::move(identifier)), bundlePath_(std::move(bundlePath)) {}
  const std::string& identifier() const { return identifier_; }
  const std::string& bundlePath() const { return bundlePath_; }

 private:
  std::string identifier_, bundlePath_;
};

/// The entry of an extension process: reads the bundle's property list, connects to the host that started it, makes
/// the context and the principal view controller by class name, shows it, runs until it is dismissed, waits for
/// pending saves and background work, and returns the exit status.
///
/// 0: dismissed, all saves on disk. 1: a save or the start failed. 3: a script step could not be done.
int NSExtensionMain(int argc, char* argv[]);
