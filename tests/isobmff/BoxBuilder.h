#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <cstdint>
#include <initializer_list>
#include <string>

#include "platform/backends/posix/FileDescriptor.h"

/// Boxes put together by hand.
namespace box_builder {

inline std::string number(std::uint64_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) text += char(value >> shift & 0xFF);
  return text;
}
inline std::string u8(std::uint64_t value) {
  return number(value, 1);
}
inline std::string u16(std::uint64_t value) {
  return number(value, 2);
}
inline std::string u32(std::uint64_t value) {
  return number(value, 4);
}
inline std::string u64(std::uint64_t value) {
  return number(value, 8);
}
inline std::string u32s(std::initializer_list<std::uint64_t> values) {
  std::string text;
  for (const std::uint64_t value : values) text += u32(value);
  return text;
}
inline std::string zeros(std::size_t count) {
  return std::string(count, '\0');
}

inline std::string box(const std::string& type, const std::string& content) {
  return u32(8 + content.size()) + type + content;
}
/// A box with version and flags.
inline std::string fullBox(const std::string& type, int version, std::uint32_t flags, const std::string& content) {
  return box(type, u8(std::uint64_t(version)) + number(flags, 3) + content);
}

/// A file in memory; `size` more than the content's makes it longer by a hole.
inline FileDescriptor file(const std::string& content, std::uint64_t size = 0) {
  FileDescriptor descriptor(memfd_create("movie", MFD_CLOEXEC));
  for (std::size_t done = 0; done < content.size();) {
    const ssize_t count = write(descriptor.get(), content.data() + done, content.size() - done);
    if (count <= 0) break;
    done += std::size_t(count);
  }
  if (size > content.size() && ftruncate(descriptor.get(), off_t(size)) != 0) descriptor.reset();
  return descriptor;
}

}  // namespace box_builder
