#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// A movie file as libavformat sees it, without its edit lists.
namespace reference {

struct Packet {
  std::int64_t position = 0, decodeTime = 0, presentationTime = 0, duration = 0;
  int size = 0;
  bool key = false;
};

/// The packets of each stream, in decode order.
std::vector<std::vector<Packet>> packets(const std::string& path);

}  // namespace reference
