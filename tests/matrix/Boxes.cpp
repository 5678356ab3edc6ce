#include "tests/matrix/Boxes.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <map>

namespace {

struct Entry {
  std::string path, payload;
};

std::uint64_t number(const std::string& bytes, std::size_t at, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | std::uint8_t(bytes.at(at + std::size_t(i)));
  return value;
}

template <std::size_t N>
bool isOneOf(const std::string& type, const std::array<const char*, N>& types) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

constexpr std::array kContainers = {"moov", "trak", "mdia", "minf", "stbl"};
/// Where the samples are, and when.
constexpr std::array kTables = {"edts", "stts", "ctts", "stss", "stps", "stsc", "stsz", "stz2",
                                "stco", "co64", "cslg", "sdtp", "sbgp", "mvex", "free", "skip"};

/// Takes durations, time scales and the width of the time fields out.
std::string withoutTimes(const std::string& type, const std::string& payload) {
  const bool wide = payload.at(0) == 1;
  std::string flags = payload.substr(1, 3);
  const std::size_t date = wide ? 8 : 4;
  const std::string made = std::to_string(number(payload, 4, int(date)));
  const std::string changed = std::to_string(number(payload, 4 + date, int(date)));
  std::size_t at = 4 + 2 * date;
  std::string kept = flags + made + "," + changed + ",";
  if (type == "tkhd") {
    kept += payload.substr(at, 8);  // the track's number
    return kept + payload.substr(at + 8 + date);
  }
  return kept + payload.substr(at + 4 + date);
}

void walk(const std::string& bytes, std::size_t from, std::size_t to, const std::string& path,
          std::vector<Entry>& entries) {
  std::map<std::string, int> seen;
  for (std::size_t at = from; at + 8 <= to;) {
    std::uint64_t size = number(bytes, at, 4);
    const std::string type = bytes.substr(at + 4, 4);
    std::size_t header = 8;
    if (size == 1 && at + 16 <= to) size = number(bytes, at + 8, 8), header = 16;
    if (size == 0) size = to - at;
    if (size < header || size > to - at) return;
    const std::size_t begin = at + header, end = at + size;
    at = end;
    if (isOneOf(type, kTables)) continue;
    const std::string name = path + "/" + type + "[" + std::to_string(seen[type]++) + "]";
    if (isOneOf(type, kContainers)) {
      entries.push_back({name, ""});
      walk(bytes, begin, end, name, entries);
    } else {
      const std::string payload = bytes.substr(begin, end - begin);
      const bool timed = type == "mvhd" || type == "tkhd" || type == "mdhd";
      entries.push_back({name, timed ? withoutTimes(type, payload) : payload});
    }
  }
}

std::vector<Entry> boxes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<Entry> entries;
  std::string header(16, '\0');
  for (std::uint64_t at = 0; file.seekg(std::streamoff(at)) && file.read(header.data(), 8);) {
    std::uint64_t size = number(header, 0, 4);
    if (size == 1 && file.read(header.data() + 8, 8)) size = number(header, 8, 8);
    if (size < 8) break;
    if (header.compare(4, 4, "moov") == 0) {
      std::string box(size, '\0');
      file.seekg(std::streamoff(at));
      file.read(box.data(), std::streamsize(size));
      walk(box, 0, box.size(), "", entries);
    }
    at += size;
  }
  return entries;
}

}  // namespace

std::vector<std::string> matrix::compareBoxes(const std::string& source, const std::string& copy) {
  std::vector<std::string> complaints;
  const auto before = boxes(source), after = boxes(copy);
  if (before.empty() || after.empty()) return {"there is no index"};
  const auto find = [](const std::vector<Entry>& entries, const std::string& path) {
    return std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.path == path; });
  };
  for (const Entry& entry : before) {
    const auto other = find(after, entry.path);
    if (other == after.end()) {
      complaints.push_back("box " + entry.path + " is missing");
    } else if (other->payload != entry.payload) {
      complaints.push_back("box " + entry.path + " is different (" + std::to_string(entry.payload.size()) + " and " +
                           std::to_string(other->payload.size()) + " bytes)");
    }
  }
  for (const Entry& entry : after) {
    if (find(before, entry.path) == before.end()) complaints.push_back("box " + entry.path + " is new");
  }
  const auto samePath = [](const Entry& a, const Entry& b) { return a.path == b.path; };
  if (complaints.empty() && !std::equal(before.begin(), before.end(), after.begin(), after.end(), samePath)) {
    complaints.push_back("the boxes stand in another order");
  }
  return complaints;
}
