#include "platform/backends/systemd/BusProtocol.h"

#include <fcntl.h>
#include <systemd/sd-id128.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>

namespace bus_protocol {

std::string memberForSelector(const std::string& selector) {
  std::string member = selector;
  std::replace(member.begin(), member.end(), ':', '_');
  return member;
}

int appendBytes(sd_bus_message* message, const std::string& bytes) {
  return sd_bus_message_append_array(message, 'y', bytes.data(), bytes.size());
}

int readBytes(sd_bus_message* message, std::size_t most, std::string& bytes) {
  const void* data = nullptr;
  std::size_t size = 0;
  int result = sd_bus_message_read_array(message, 'y', &data, &size);
  if (result < 0) return result;
  if (size > most) return -EMSGSIZE;
  bytes.assign(static_cast<const char*>(data), size);
  return 0;
}

Bus connect(int socket, bool server, int& failure) {
  int flags = fcntl(socket, F_GETFL);
  if (flags < 0 || fcntl(socket, F_SETFL, flags | O_NONBLOCK) < 0 || fcntl(socket, F_SETFD, FD_CLOEXEC) < 0) {
    failure = errno;
    return nullptr;
  }
  sd_bus* made = nullptr;
  int result = sd_bus_new(&made);
  Bus bus(made);
  if (result >= 0) result = sd_bus_set_fd(made, socket, socket);
  if (result < 0) {
    close(socket);
    failure = -result;
    return nullptr;
  }
  if (server) {
    sd_id128_t identity;
    result = sd_id128_randomize(&identity);
    if (result >= 0) result = sd_bus_set_server(made, 1, identity);
  }
  // Only the other end of the pair can send: no further questions about who it is.
  if (result >= 0) result = sd_bus_set_trusted(made, 1);
  if (result >= 0) result = sd_bus_negotiate_fds(made, 1);
  if (result >= 0) result = sd_bus_set_close_on_exit(made, 0);
  if (result >= 0) result = sd_bus_start(made);
  if (result < 0) {
    failure = -result;
    return nullptr;
  }
  return bus;
}

}  // namespace bus_protocol
