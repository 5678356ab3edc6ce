#include "platform/Foundation/ExtensionLink.h"

#include "platform/Dispatch/dispatch.h"
#include "platform/backends/systemd/BusThread.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <map>

namespace {

using namespace bus_protocol;

class ClientLink : public ExtensionClientLink, public std::enable_shared_from_this<ClientLink> {
 public:
  ClientLink(Bus bus, Handlers handlers)
      : handlers_(std::move(handlers)), thread_(std::move(bus), [this] { connectionClosed(); }) {}
  ~ClientLink() override {
    if (lock_ >= 0) close(lock_);
  }

  void start() {
    thread_.start([this](sd_bus* bus) {
      sd_bus_add_object(bus, nullptr, extensionPath, &ClientLink::received, this);
      int result = sd_bus_call_method_async(bus, nullptr, nullptr, hostPath, hostInterface, "GetItems",
                                            &ClientLink::itemsListed, this, "");
      if (result < 0) setTitles({});
    });
  }

  std::vector<Strong<NSExtensionItem>> items() override {
    std::unique_lock lock(mutex_);
    listed_.wait(lock, [this] { return entries_.has_value(); });
    std::vector<Strong<NSExtensionItem>> items;
    for (std::uint32_t index = 0; index < entries_->size(); ++index) {
      const auto& [title, types] = (*entries_)[index];
      auto loader = [weak = weak_from_this(), index](const std::string& type,
                                                     NSItemProvider::CompletionHandler completion) {
        if (auto self = weak.lock()) {
          self->load(index, type, std::move(completion));
        } else {
          completion("", NSError::posix(ENOTCONN, "The value can’t be loaded"));
        }
      };
      auto item = std::make_shared<NSExtensionItem>();
      item->setAttributedTitle(title);
      item->setAttachments({std::make_shared<NSItemProvider>(types, std::move(loader))});
      items.push_back(std::move(item));
    }
    return items;
  }

  bool setExportedInterface(std::shared_ptr<NSXPCInterface> interface) override {
    // Whatever else the host may send is refused by the bus, as for any interface without messages.
    return interface && interface->isEmpty();
  }
  void setRemoteObjectInterface(std::shared_ptr<NSXPCInterface> interface) override {
    interface_ = std::move(interface);
  }
  bool isConnected() const override { return thread_.isOpen(); }

  std::shared_ptr<NSXPCProxy> remoteObjectProxyWithErrorHandler(std::function<void(const NSError&)> handler) override;

  using ErrorHandler = std::function<void(const NSError&)>;
  void send(const std::string& selector, const std::vector<std::string>& argument, const ErrorHandler& handler) {
    if (!interface_ || !interface_->hasSelector(selector)) {
      handler(*NSError::posix(EOPNOTSUPP, "The host does not understand " + selector));
      return;
    }
    thread_.post([selector, argument, handler](sd_bus* bus) {
      int result = sendNow(bus, selector, argument);
      // However the host's absence shows first, it has one code.
      if (result == -ECONNRESET || result == -EPIPE || result == -ESHUTDOWN) result = -ENOTCONN;
      if (result < 0) handler(*NSError::posix(-result, "The host can’t be told"));
    });
  }

 private:
  struct Entry {
    std::string title;
    std::vector<std::string> types;
  };

  static int sendNow(sd_bus* bus, const std::string& selector, const std::vector<std::string>& argument) {
    if (argument.size() > maxArrayCount) return -E2BIG;
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_method_call(bus, &made, nullptr, hostPath, hostInterface,
                                                memberForSelector(selector).c_str());
    Message message(made);
    if (result >= 0) result = sd_bus_message_set_expect_reply(made, 0);
    if (result >= 0) result = sd_bus_message_open_container(made, 'a', "s");
    for (const std::string& text : argument) {
      if (text.size() > maxTextBytes) return -E2BIG;
      if (result >= 0) result = sd_bus_message_append(made, "s", text.c_str());
    }
    if (result >= 0) result = sd_bus_message_close_container(made);
    if (result >= 0) result = sd_bus_send(bus, made, nullptr);
    return result;
  }

  // On the link's thread.

  static int itemsListed(sd_bus_message* reply, void* userdata, sd_bus_error*) {
    auto& self = *static_cast<ClientLink*>(userdata);
    std::vector<Entry> entries;
    if (sd_bus_message_is_method_error(reply, nullptr) || !readEntries(reply, entries)) entries.clear();
    self.setTitles(std::move(entries));
    return 1;
  }

  static bool readEntries(sd_bus_message* reply, std::vector<Entry>& entries) {
    if (!sd_bus_message_has_signature(reply, "a(sas)")) return false;
    if (sd_bus_message_enter_container(reply, 'a', "(sas)") < 0) return false;
    while (sd_bus_message_enter_container(reply, 'r', "sas") > 0) {
      const char* text = nullptr;
      if (sd_bus_message_read(reply, "s", &text) < 0 || std::strlen(text) > maxTextBytes) return false;
      Entry entry{text, {}};
      if (sd_bus_message_enter_container(reply, 'a', "s") < 0) return false;
      while (sd_bus_message_read(reply, "s", &text) > 0) {
        if (std::strlen(text) > maxTextBytes || entry.types.size() == maxItems) return false;
        entry.types.emplace_back(text);
      }
      if (sd_bus_message_exit_container(reply) < 0 || sd_bus_message_exit_container(reply) < 0) return false;
      if (entries.size() == maxItems) return false;
      entries.push_back(std::move(entry));
    }
    return true;
  }

  void setTitles(std::vector<Entry> entries) {
    std::lock_guard lock(mutex_);
    if (!entries_) entries_ = std::move(entries);
    listed_.notify_all();
  }

  /// One value that has been asked for.
  struct Request {
    ClientLink* link;
    NSItemProvider::CompletionHandler completion;
  };

  void load(std::uint32_t index, const std::string& type, NSItemProvider::CompletionHandler completion) {
    thread_.post([this, index, type, completion = std::move(completion)](sd_bus* bus) {
      auto request = std::make_unique<Request>(Request{this, completion});
      sd_bus_message* made = nullptr;
      int result = sd_bus_message_new_method_call(bus, &made, nullptr, hostPath, hostInterface, "LoadItem");
      Message message(made);
      if (result >= 0) result = sd_bus_message_append(made, "us", index, type.c_str());
      // The host answers when it is ready, however long that takes; its end is noticed otherwise.
      if (result >= 0)
        result = sd_bus_call_async(bus, nullptr, made, &ClientLink::valueLoaded, request.get(), UINT64_MAX);
      if (result < 0) {
        completion("", NSError::posix(ENOTCONN, "The value can’t be loaded"));
        return;
      }
      Request* key = request.get();
      requests_[key] = std::move(request);
    });
  }

  static int valueLoaded(sd_bus_message* reply, void* userdata, sd_bus_error*) {
    auto* request = static_cast<Request*>(userdata);
    auto owned = request->link->requests_.extract(request);
    std::string value;
    if (sd_bus_message_is_method_error(reply, nullptr)) {
      int code = sd_bus_message_get_errno(reply);
      request->completion("", NSError::posix(code > 0 ? code : EIO, "The value can’t be loaded"));
    } else if (!sd_bus_message_has_signature(reply, "ay") || readBytes(reply, maxValueBytes, value) < 0) {
      request->completion("", NSError::posix(EBADMSG, "The value can’t be loaded"));
    } else {
      request->completion(value, nullptr);
    }
    return 1;
  }

  static int received(sd_bus_message* message, void* userdata, sd_bus_error* error) {
    auto& self = *static_cast<ClientLink*>(userdata);
    if (sd_bus_message_is_method_call(message, extensionInterface, "Begin")) return self.begin(message, error);
    if (!sd_bus_message_is_method_call(message, extensionInterface, "Dismiss")) return 0;
    if (!sd_bus_message_has_signature(message, "")) return -EINVAL;
    self.onMain(self.handlers_.dismiss);
    return 1;
  }

  int begin(sd_bus_message* message, sd_bus_error* error) {
    std::string folder;
    int lock = -1;
    if (!sd_bus_message_has_signature(message, "ayh") || readBytes(message, maxTextBytes * 2, folder) < 0 ||
        sd_bus_message_read(message, "h", &lock) < 0)
      return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, "a folder and a lock are wanted");
    if (lock_ < 0) lock_ = fcntl(lock, F_DUPFD_CLOEXEC, 3);
    if (handlers_.begin) onMain([this, folder] { handlers_.begin(folder); });
    return 1;
  }

  void connectionClosed() {
    setTitles({});
    // The bus answers what is pending when it notices the end itself; not when it broke off.
    for (auto& [key, request] : std::exchange(requests_, {}))
      request->completion("", NSError::posix(ENOTCONN, "The value can’t be loaded"));
    onMain(handlers_.disconnected);
  }

  /// Runs a handler on the main queue, unless the link has gone by then.
  void onMain(std::function<void()> handler) {
    if (!handler) return;
    dispatch_async(dispatch_get_main_queue(), [weak = weak_from_this(), handler = std::move(handler)] {
      if (auto self = weak.lock()) handler();
    });
  }

  Handlers handlers_;
  std::shared_ptr<NSXPCInterface> interface_;
  int lock_ = -1;
  std::mutex mutex_;
  std::condition_variable listed_;
  std::optional<std::vector<Entry>> entries_;
  std::map<Request*, std::unique_ptr<Request>> requests_;
  BusThread thread_;  // last: ends before what it uses goes
};

class Proxy : public NSXPCProxy {
 public:
  Proxy(std::shared_ptr<ClientLink> link, std::function<void(const NSError&)> handler)
      : link_(std::move(link)), handler_(std::move(handler)) {}
  void send(const std::string& selector, const std::vector<std::string>& argument) override {
    link_->send(selector, argument, handler_);
  }

 private:
  std::shared_ptr<ClientLink> link_;
  std::function<void(const NSError&)> handler_;
};

std::shared_ptr<NSXPCProxy> ClientLink::remoteObjectProxyWithErrorHandler(std::function<void(const NSError&)> handler) {
  return std::make_shared<Proxy>(shared_from_this(), std::move(handler));
}

}  // namespace

std::shared_ptr<ExtensionClientLink> ExtensionClientLink::create(int socket, Handlers handlers, NSErrorPtr* error) {
  int failure = 0;
  Bus bus = connect(socket, false, failure);
  if (!bus) {
    if (error) *error = NSError::posix(failure, "The connection to the host can’t be made");
    return nullptr;
  }
  auto link = std::make_shared<ClientLink>(std::move(bus), std::move(handlers));
  link->start();
  return link;
}
