#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// A movie file as libavformat sees it.
namespace reference {

struct Packet {
  std::int64_t position = 0, decodeTime = 0, presentationTime = 0, duration = 0;
  int size = 0;
  bool key = false;
  bool hidden = false;        ///< decoded only
  double start = 0, end = 0;  ///< presentation, in seconds
};

/// The packets of each stream, in decode order; with edit lists as our player honours them, or without.
std::vector<std::vector<Packet>> packets(const std::string& path, bool editLists = false);

}  // namespace reference
