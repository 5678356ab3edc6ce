#include "platform/Foundation/ExtensionLink.h"

#include "platform/backends/systemd/BusProtocol.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

namespace {

using namespace bus_protocol;

class HostLink : public ExtensionHostLink {
 public:
  HostLink(Bus bus, std::vector<Item> items, std::vector<std::string> selectors, Handlers handlers)
      : bus_(std::move(bus)),
        items_(std::move(items)),
        selectors_(std::move(selectors)),
        handlers_(std::move(handlers)),
        alive_(std::make_shared<bool>(true)) {}
  ~HostLink() override { *alive_ = false; }

  int listen() { return sd_bus_add_object(bus_.get(), nullptr, hostPath, &HostLink::received, this); }

  int descriptor() const override { return isOpen() ? sd_bus_get_fd(bus_.get()) : -1; }
  short events() const override {
    int events = isOpen() ? sd_bus_get_events(bus_.get()) : 0;
    return static_cast<short>(std::max(events, 0));
  }
  int timeout() const override {
    std::uint64_t end = 0;
    if (!isOpen() || sd_bus_get_timeout(bus_.get(), &end) < 0 || end == UINT64_MAX) return -1;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    std::uint64_t moment =
        static_cast<std::uint64_t>(now.tv_sec) * 1000000 + static_cast<std::uint64_t>(now.tv_nsec) / 1000;
    return end <= moment ? 0 : static_cast<int>(std::min<std::uint64_t>((end - moment) / 1000 + 1, INT_MAX));
  }
  bool process() override {
    int result = 1;
    while (result > 0 && isOpen()) result = sd_bus_process(bus_.get(), nullptr);
    return result >= 0 && isOpen();
  }

  void begin(const std::string& folder, int lock) override {
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_method_call(bus_.get(), &made, nullptr, extensionPath, extensionInterface, "Begin");
    Message message(made);
    if (result >= 0) result = appendBytes(made, folder);
    if (result >= 0) result = sd_bus_message_append(made, "h", lock);
    if (result >= 0) sendOneWay(made);
  }
  void dismiss() override {
    sd_bus_message* made = nullptr;
    int result =
        sd_bus_message_new_method_call(bus_.get(), &made, nullptr, extensionPath, extensionInterface, "Dismiss");
    Message message(made);
    if (result >= 0) sendOneWay(made);
  }

 private:
  bool isOpen() const { return sd_bus_is_open(bus_.get()) > 0; }

  // A failure to send means that the extension has gone, which shows by itself.
  void sendOneWay(sd_bus_message* message) {
    sd_bus_message_set_expect_reply(message, 0);
    sd_bus_send(bus_.get(), message, nullptr);
  }

  static int received(sd_bus_message* message, void* userdata, sd_bus_error* error) {
    auto& self = *static_cast<HostLink*>(userdata);
    const char* member = sd_bus_message_get_member(message);
    const char* interface = sd_bus_message_get_interface(message);
    if (!member || !interface || std::strcmp(interface, hostInterface) != 0) return 0;
    if (std::strcmp(member, "GetItems") == 0) return self.listItems(message);
    if (std::strcmp(member, "LoadItem") == 0) return self.loadItem(message, error);
    for (const std::string& selector : self.selectors_) {
      if (memberForSelector(selector) == member) return self.receiveMessage(selector, message, error);
    }
    return 0;
  }

  int listItems(sd_bus_message* request) {
    if (!sd_bus_message_has_signature(request, "")) return -EINVAL;
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_method_return(request, &made);
    Message reply(made);
    if (result >= 0) result = sd_bus_message_open_container(made, 'a', "(sas)");
    for (const Item& item : items_) {
      if (result >= 0) result = sd_bus_message_open_container(made, 'r', "sas");
      if (result >= 0) result = sd_bus_message_append(made, "s", item.title.c_str());
      if (result >= 0) result = sd_bus_message_open_container(made, 'a', "s");
      for (const std::string& type : item.typeIdentifiers) {
        if (result >= 0) result = sd_bus_message_append(made, "s", type.c_str());
      }
      if (result >= 0) result = sd_bus_message_close_container(made);
      if (result >= 0) result = sd_bus_message_close_container(made);
    }
    if (result >= 0) result = sd_bus_message_close_container(made);
    return result < 0 ? result : sd_bus_send(bus_.get(), made, nullptr);
  }

  int loadItem(sd_bus_message* request, sd_bus_error* error) {
    std::uint32_t index = 0;
    const char* type = nullptr;
    if (!sd_bus_message_has_signature(request, "us") || sd_bus_message_read(request, "us", &index, &type) < 0)
      return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, "an item and a type are wanted");
    if (index >= items_.size()) return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, "there is no such item");
    const auto& types = items_[index].typeIdentifiers;
    if (std::find(types.begin(), types.end(), type) == types.end())
      return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, "the item has no such type");
    std::shared_ptr<sd_bus_message> kept(sd_bus_message_ref(request), MessageUnref());
    handlers_.load(index, type, [this, kept, alive = alive_](std::optional<std::string> value) {
      if (*alive) answer(kept.get(), value);
    });
    return 1;
  }

  void answer(sd_bus_message* request, const std::optional<std::string>& value) {
    if (!value || value->size() > maxValueBytes) {
      sd_bus_reply_method_errnof(request, EIO, "the value can't be had");
      return;
    }
    sd_bus_message* made = nullptr;
    int result = sd_bus_message_new_method_return(request, &made);
    Message reply(made);
    if (result >= 0) result = appendBytes(made, *value);
    if (result >= 0) sd_bus_send(bus_.get(), made, nullptr);
  }

  int receiveMessage(const std::string& selector, sd_bus_message* message, sd_bus_error* error) {
    if (!sd_bus_message_has_signature(message, "as") || sd_bus_message_enter_container(message, 'a', "s") < 0)
      return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, "an array of texts is wanted");
    std::vector<std::string> argument;
    const char* text = nullptr;
    int result = 0;
    while ((result = sd_bus_message_read(message, "s", &text)) > 0) {
      if (argument.size() == maxArrayCount || std::strlen(text) > maxTextBytes)
        return sd_bus_error_set(error, SD_BUS_ERROR_LIMITS_EXCEEDED, "the array is too large");
      argument.emplace_back(text);
    }
    if (result < 0) return result;
    handlers_.message(selector, argument);
    return 1;
  }

  Bus bus_;
  std::vector<Item> items_;
  std::vector<std::string> selectors_;
  Handlers handlers_;
  std::shared_ptr<bool> alive_;
};

}  // namespace

std::unique_ptr<ExtensionHostLink> ExtensionHostLink::create(int socket, std::vector<Item> items,
                                                             std::vector<std::string> selectors, Handlers handlers,
                                                             NSErrorPtr* error) {
  int failure = 0;
  Bus bus = connect(socket, true, failure);
  std::unique_ptr<HostLink> link;
  if (bus) {
    link = std::make_unique<HostLink>(std::move(bus), std::move(items), std::move(selectors), std::move(handlers));
    failure = -std::min(link->listen(), 0);
  }
  if (failure == 0) return link;
  if (error) *error = NSError::posix(failure, "The connection to the editor can’t be made");
  return nullptr;
}
