#include "tests/matrix/Boxes.h"

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <map>
#include <set>
#include <utility>

namespace {

/// Paths and payloads, in the file's order.
using Entries = std::vector<std::pair<std::string, std::string>>;

std::uint64_t number(const std::string& bytes, std::size_t at, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | std::uint8_t(bytes.at(at + std::size_t(i)));
  return value;
}

const std::set<std::string> kContainers = {"moov", "trak", "mdia", "minf", "stbl"};
/// Where the samples are, and when.
const std::set<std::string> kTables = {"edts", "stts", "ctts", "stss", "stps", "stsc", "stsz", "stz2",
                                       "stco", "co64", "cslg", "sdtp", "sbgp", "mvex", "free", "skip"};

/// Takes durations, time scales and the width of the time fields out of a header.
std::string withoutTimes(const std::string& type, const std::string& payload) {
  const int date = payload.at(0) == 1 ? 8 : 4;
  const std::size_t at = 4 + 2 * std::size_t(date), rest = at + std::size_t(date) + (type == "tkhd" ? 8 : 4);
  return payload.substr(1, 3) + std::to_string(number(payload, 4, date)) + "," +
         std::to_string(number(payload, 4 + std::size_t(date), date)) + "," +
         (type == "tkhd" ? payload.substr(at, 8) : "") +  // the track's number
         payload.substr(rest);
}

void walk(const std::string& bytes, const std::string& path, Entries& entries) {
  std::map<std::string, int> seen;
  for (std::size_t at = 0, size = 0; at + 8 <= bytes.size(); at += size) {
    size = number(bytes, at, 4);
    if (size < 8 || size > bytes.size() - at) return;
    const std::string type = bytes.substr(at + 4, 4), payload = bytes.substr(at + 8, size - 8);
    if (kTables.contains(type)) continue;
    const std::string name = path + "/" + type + "[" + std::to_string(seen[type]++) + "]";
    const bool contains = kContainers.contains(type), timed = type == "mvhd" || type == "tkhd" || type == "mdhd";
    entries.emplace_back(name, contains ? "" : timed ? withoutTimes(type, payload) : payload);
    if (contains) walk(payload, name, entries);
  }
}

Entries boxes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  Entries entries;
  std::string header(16, '\0');
  for (std::uint64_t at = 0; file.seekg(std::streamoff(at)) && file.read(header.data(), 8);) {
    std::uint64_t size = number(header, 0, 4);
    if (size == 1 && file.read(header.data() + 8, 8)) size = number(header, 8, 8);
    if (size < 8) break;
    if (header.compare(4, 4, "moov") == 0) {
      std::string box(size, '\0');
      file.seekg(std::streamoff(at));
      file.read(box.data(), std::streamsize(size));
      walk(box, "", entries);
    }
    at += size;
  }
  return entries;
}

}  // namespace

std::vector<std::string> matrix::compareBoxes(const std::string& source, const std::string& copy) {
  std::vector<std::string> complaints;
  const Entries before = boxes(source), after = boxes(copy);
  if (before.empty() || after.empty()) return {"there is no index"};
  const std::map<std::string, std::string> was(before.begin(), before.end()), is(after.begin(), after.end());
  for (const auto& [path, payload] : was) {
    const auto other = is.find(path);
    if (other == is.end()) {
      complaints.push_back("box " + path + " is missing");
    } else if (other->second != payload) {
      complaints.push_back("box " + path + " is different (" + std::to_string(payload.size()) + " and " +
                           std::to_string(other->second.size()) + " bytes)");
    }
  }
  for (const auto& [path, payload] : is) {
    if (!was.contains(path)) complaints.push_back("box " + path + " is new");
  }
  const auto samePath = [](const auto& a, const auto& b) { return a.first == b.first; };
  if (complaints.empty() && !std::equal(before.begin(), before.end(), after.begin(), after.end(), samePath)) {
    complaints.push_back("the boxes stand in another order");
  }
  return complaints;
}
