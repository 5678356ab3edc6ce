#pragma once

#include <systemd/sd-bus.h>
#include <cstddef>
#include <memory>
#include <string>

/// The words of the private connection, the same at both ends.
namespace bus_protocol {

inline constexpr const char* hostPath = "/zevanti/Host";
/// GetItems() → a(sas): titles and type identifiers.
/// LoadItem(u item, s type) → ay: the value, answered when it is known.
/// One member for each message that the host understands, argument `as`, no reply.
inline constexpr const char* hostInterface = "zevanti.Host";

inline constexpr const char* extensionPath = "/zevanti/Extension";
/// Begin(ay folder, h lock) and Dismiss(), no replies.
inline constexpr const char* extensionInterface = "zevanti.Extension";

// Far more than is ever sent; whatever exceeds them is an error at the other end.
inline constexpr std::size_t maxItems = 64;
inline constexpr std::size_t maxTextBytes = 4096;
inline constexpr std::size_t maxValueBytes = 1 << 20;
inline constexpr std::size_t maxArrayCount = 4096;

/// A selector as a D-Bus member name, which can't have colons: "finish:with:" is "finish_with_".
std::string memberForSelector(const std::string& selector);

/// Writes an array of bytes.
int appendBytes(sd_bus_message* message, const std::string& bytes);
/// Reads an array of at most `most` bytes; a negative errno value when there is none or it is longer.
int readBytes(sd_bus_message* message, std::size_t most, std::string& bytes);

struct MessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

struct BusUnref {
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, BusUnref>;

/// A started connection over one end of a connected pair of sockets, which it takes over. `server` is true at the
/// host's end. On failure: null, and `failure` is an errno value.
Bus connect(int socket, bool server, int& failure);

}  // namespace bus_protocol
