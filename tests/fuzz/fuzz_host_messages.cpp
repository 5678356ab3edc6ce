/// Anything that an extension gone bad may send its host: the host asks for nothing that there is not, takes nothing
/// that is too large, and goes on. An input is raw bytes behind the greeting, or directions for well-formed messages.

#include "platform/Foundation/ExtensionLink.h"
#include "platform/backends/systemd/BusProtocol.h"

#include <sys/socket.h>
#include <unistd.h>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace bus_protocol;

constexpr const char* kFinish = "didFinish:with:";

void require(bool condition) {
  if (!condition) std::abort();
}

/// Directions, a byte at a time; zeros when they have run out.
class Directions {
 public:
  Directions(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  bool isDone() const { return at_ >= size_; }
  unsigned next() { return at_ < size_ ? data_[at_++] : 0; }
  template <std::size_t Count>
  const char* one(const char* const (&of)[Count]) {
    return of[next() % Count];
  }
  std::string text() {
    std::string result;
    // Now and then one that is longer than allowed.
    const unsigned length = next();
    for (unsigned i = 0; i < length % 32 && !isDone(); ++i) result += static_cast<char>(next() | 1);
    if (length == 255) result.append(5000, 'x');
    return result;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_, at_ = 0;
};

void appendArguments(sd_bus_message* message, Directions& directions) {
  for (unsigned count = directions.next() % 4; count > 0; --count) {
    switch (directions.next() % 6) {
      case 0:
        sd_bus_message_append(message, "u", directions.next() % 8 == 7 ? ~0U : directions.next() % 5);
        break;
      case 1:
        sd_bus_message_append(message, "s", directions.text().c_str());
        break;
      case 2:
        sd_bus_message_append(message, "s", kUTTypeData);
        break;
      case 3: {
        sd_bus_message_open_container(message, 'a', "s");
        const unsigned texts = directions.next();
        for (unsigned i = 0; i < (texts == 255 ? 5000 : texts % 8); ++i)
          sd_bus_message_append(message, "s", texts == 255 ? "x" : directions.text().c_str());
        sd_bus_message_close_container(message);
        break;
      }
      case 4:
        appendBytes(message, directions.text());
        break;
      default:
        sd_bus_message_append(message, "v", "u", directions.next());
    }
  }
}

/// Lets both ends do what there is to do.
void settle(ExtensionHostLink& host, sd_bus* extension) {
  for (int quiet = 0, round = 0; quiet < 2 && round < 200; ++round) {
    const bool open = host.process();
    const int result = extension ? sd_bus_process(extension, nullptr) : 0;
    quiet = result > 0 ? 0 : quiet + 1;
    if (!open) return;
  }
}

void sendMessages(ExtensionHostLink& host, int socket, Directions& directions) {
  int failure = 0;
  const Bus extension = connect(socket, false, failure);
  require(extension != nullptr);
  settle(host, extension.get());
  while (!directions.isDone()) {
    sd_bus_message* made = nullptr;
    static constexpr const char* members[] = {"GetItems",        "LoadItem",        "LoadItem",
                                              "didFinish_with_", "didFinish_with_", "Begin"};
    static constexpr const char* interfaces[] = {hostInterface, hostInterface, hostInterface, extensionInterface};
    static constexpr const char* paths[] = {hostPath, hostPath, hostPath, "/"};
    const char* path = directions.one(paths);
    const char* interface = directions.one(interfaces);
    if (sd_bus_message_new_method_call(extension.get(), &made, nullptr, path, interface, directions.one(members)) < 0)
      return;
    const Message message(made);
    appendArguments(made, directions);
    sd_bus_message_set_expect_reply(made, static_cast<int>(directions.next() % 2));
    if (sd_bus_send(extension.get(), made, nullptr) < 0) return;
    settle(host, extension.get());
  }
}

void sendBytes(ExtensionHostLink& host, int socket, const std::uint8_t* data, std::size_t size) {
  std::string user;
  for (const char digit : std::to_string(geteuid())) user += {'3', digit};  // in hexadecimal
  std::string all = std::string(1, '\0') + "AUTH EXTERNAL " + user + "\r\nNEGOTIATE_UNIX_FD\r\nBEGIN\r\n";
  all.append(reinterpret_cast<const char*>(data), size);
  require(write(socket, all.data(), all.size()) == static_cast<ssize_t>(all.size()));
  settle(host, nullptr);
  close(socket);
  settle(host, nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  int ends[2];
  require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
  std::vector<ExtensionHostLink::Answer> later;
  const auto host = ExtensionHostLink::create(
      ends[0], {{"movie", {kUTTypeData, "public.movie"}}, {"name", {kUTTypeData}}, {"none", {}}}, {kFinish},
      {[&](std::size_t item, const std::string& type, ExtensionHostLink::Answer answer) {
         require(item < 2 && (type == kUTTypeData || (item == 0 && type == "public.movie")));
         if (item == 0) {
           later.push_back(std::move(answer));
         } else {
           answer("a name");
         }
       },
       [&](const std::string& selector, const std::vector<std::string>& argument) {
         require(selector == kFinish && argument.size() <= maxArrayCount);
         for (const std::string& text : argument) require(text.size() <= maxTextBytes);
       }},
      nullptr);
  require(host != nullptr);
  if (data[0] % 2 == 0) {
    Directions directions(data + 1, size - 1);
    sendMessages(*host, ends[1], directions);
  } else {
    sendBytes(*host, ends[1], data + 1, size - 1);
  }
  for (auto& answer : later) answer(std::nullopt);
  return 0;
}
