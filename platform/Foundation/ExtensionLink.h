#pragma once

#include "platform/Foundation/NSExtension.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The private connection between the host and the extension that it has started: D-Bus messages, peer to peer, over a
/// pair of connected sockets. The extension inherits its end, so nobody else can be there. What arrives is checked for
/// type and size; a message that breaks the rules is refused and changes nothing.

/// The host's end. It belongs to one thread, whose loop waits for `descriptor` to become ready and calls `process`.
class ExtensionHostLink {
 public:
  struct Item {
    std::string title;  ///< UTF-8
    std::vector<std::string> typeIdentifiers;
  };
  /// Answers one request, once, at any later time on the link's thread: the value (any bytes), or nothing for "can't be
  /// had". An answer after the extension has gone is dropped.
  using Answer = std::function<void(std::optional<std::string> value)>;
  struct Handlers {
    /// The extension wants the value of an item under a type that the item has.
    std::function<void(std::size_t item, const std::string& typeIdentifier, Answer answer)> load;
    /// One of the offered one-way messages has come.
    std::function<void(const std::string& selector, const std::vector<std::string>& argument)> message;
  };

  /// Takes over `socket`, one end of a connected pair. `selectors` are the messages that the host understands. On
  /// failure: null, and `error` is set.
  static std::unique_ptr<ExtensionHostLink> create(int socket, std::vector<Item> items,
                                                   std::vector<std::string> selectors, Handlers handlers,
                                                   NSErrorPtr* error);
  virtual ~ExtensionHostLink() = default;

  virtual int descriptor() const = 0;  ///< for poll(); -1 once the extension has gone
  virtual short events() const = 0;    ///< for poll()
  virtual int timeout() const = 0;     ///< for poll(), in milliseconds
  /// Carries out what has arrived; calls the handlers. False once the extension has gone.
  virtual bool process() = 0;

  /// Tells the extension that there is something to edit, before the first answer: it may show itself. `folder` is the
  /// private folder of this run, which the extension removes when it ends after the host. `lock`, a descriptor that
  /// stays the caller's, is kept open by the extension as long as it runs. Only after the extension's first request.
  virtual void begin(const std::string& folder, int lock) = 0;
  /// Tells the extension to end.
  virtual void dismiss() = 0;
};

/// The extension's end. It has a thread of its own; may be used from any thread.
class ExtensionClientLink : public NSXPCConnection {
 public:
  /// All are called on the main queue.
  struct Handlers {
    std::function<void(const std::string& folder)> begin;  ///< there is something to edit
    std::function<void()> dismiss;                         ///< the host wants the extension to end
    std::function<void()> disconnected;                    ///< the host has gone; at most once
  };

  /// Takes over the inherited `socket` and starts to talk at once. On failure: null, and `error` is set.
  static std::shared_ptr<ExtensionClientLink> create(int socket, Handlers handlers, NSErrorPtr* error);

  /// The host's items; waits until they are known. Their values are loaded on request, each by itself. Empty when the
  /// host has gone.
  virtual std::vector<Strong<NSExtensionItem>> items() = 0;
  /// What the extension offers the host. This connection carries no messages of its own to the extension, so false for
  /// an interface that has some.
  virtual bool setExportedInterface(std::shared_ptr<NSXPCInterface> interface) = 0;
  /// What the host understands; messages outside it go to the proxies' error handlers. Before the first proxy is used.
  virtual void setRemoteObjectInterface(std::shared_ptr<NSXPCInterface> interface) = 0;
  virtual bool isConnected() const = 0;
};
