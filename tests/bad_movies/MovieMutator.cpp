#include "MovieMutator.h"

#include "CodedSize.h"
#include "platform/backends/isobmff/ByteReader.h"
#include "tests/isobmff/BoxBuilder.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace {

std::uint64_t numberAt(const std::string& bytes, std::size_t at, int size) {
  const auto* start = reinterpret_cast<const std::uint8_t*>(bytes.data() + at);
  return size == 8 ? isobmff::loadU64(start) : isobmff::loadU32(start);
}

void put(std::string& bytes, std::size_t at, std::uint64_t number, int size) {
  const auto length = static_cast<std::size_t>(size);
  if (at + length <= bytes.size()) bytes.replace(at, length, box_builder::number(number, size));
}

bool contains(std::initializer_list<const char*> types, const std::string& type) {
  return std::any_of(types.begin(), types.end(), [&](const char* each) { return type == each; });
}

}  // namespace

std::string MovieMutator::damaged(const std::string& movie, std::string* done) {
  std::string result = movie;
  done->clear();
  struct Way {
    const char* name;
    bool (MovieMutator::*apply)(std::string&);
  };
  static constexpr Way ways[] = {
      {"size", &MovieMutator::lieAboutSize},         {"table", &MovieMutator::lieInTable},
      {"table", &MovieMutator::lieInTable},          {"dimensions", &MovieMutator::changeDimensions},
      {"durations", &MovieMutator::changeDurations}, {"exchange", &MovieMutator::exchangeBoxes},
      {"200 tracks", &MovieMutator::multiplyTrack},  {"nesting", &MovieMutator::nestBoxes},
      {"number", &MovieMutator::changeFloat}};
  const std::size_t times = 1 + below(3);
  for (std::size_t i = 0; i < times; ++i) {
    const char* name = nullptr;
    const std::size_t kind = below(std::size(ways) + 3);
    if (kind < std::size(ways) && (this->*ways[kind].apply)(result)) {
      name = ways[kind].name;
    } else if (kind == std::size(ways) && i == 0) {
      cutOff(result);
      name = "cut off";
    } else if (kind == std::size(ways) + 1) {
      overwriteRange(result);
      name = "overwritten";
    } else {
      flipBits(result);
      name = "bits";
    }
    *done += (done->empty() ? "" : ", ") + std::string(name);
  }
  return result;
}

std::vector<MovieMutator::Box> MovieMutator::boxesOf(const std::string& movie) {
  std::vector<Box> found;
  if (movie.size() > 8 && contains({"ftyp", "moov", "mdat", "wide", "free"}, movie.substr(4, 4)))
    find(movie, 0, movie.size(), {}, found);
  return found;
}

void MovieMutator::find(const std::string& movie, std::size_t from, std::size_t to,
                        const std::vector<std::size_t>& parents, std::vector<Box>& found) {
  while (from + 8 <= to && found.size() < 5000) {
    Box box{from, numberAt(movie, from, 4), 8, movie.substr(from + 4, 4), parents};
    if (box.size == 1 && from + 16 <= to) box.size = numberAt(movie, from + 8, 8), box.header = 16;
    if (box.size == 0 || box.size > to - from) box.size = to - from;
    if (box.size < box.header) return;
    found.push_back(box);
    // How much stands before the boxes within: a sample description's fields end with its own boxes.
    const bool plain =
        contains({"moov", "trak", "mdia", "minf", "stbl", "edts", "udta", "mvex", "moof", "traf", "dinf"}, box.type);
    std::size_t fields = plain                                                                                  ? 0
                         : box.type == "stsd" || box.type == "dref"                                             ? 8
                         : box.type == "avc1" || box.type == "hvc1" || box.type == "vp09" || box.type == "mp4v" ? 78
                         : box.type == "mp4a"                                                                   ? 28
                                              : box.size;
    fields += box.header;
    if (fields < box.size && parents.size() < 12) {
      std::vector<std::size_t> around = parents;
      around.push_back(from);
      find(movie, from + fields, from + box.size, around, found);
    }
    from += box.size;
  }
}

std::uint64_t MovieMutator::hostileNumber() {
  static constexpr std::uint64_t numbers[] = {
      0,       1,        2,          7,          8,          9,          0xff,       0xffff,
      0x10000, 0xffffff, 0x7fffffff, 0x80000000, 0xffffffff, 0xfffffffe, 0x40000000, 1'000'000'000};
  const std::size_t which = below(std::size(numbers) + 4);
  return which < std::size(numbers) ? numbers[which] : random_();
}

const MovieMutator::Box* MovieMutator::pick(const std::vector<Box>& boxes, std::initializer_list<const char*> types) {
  std::vector<const Box*> fitting;
  for (const Box& box : boxes) {
    if (types.size() == 0 || contains(types, box.type)) fitting.push_back(&box);
  }
  return fitting.empty() ? nullptr : fitting[below(fitting.size())];
}

void MovieMutator::insert(std::string& movie, const Box& behind, const std::string& bytes) {
  for (const std::size_t parent : behind.parents) put(movie, parent, numberAt(movie, parent, 4) + bytes.size(), 4);
  movie.insert(behind.at + behind.size, bytes);
}

void MovieMutator::cutOff(std::string& movie) {
  movie.resize(below(movie.size() + 1));
}

void MovieMutator::flipBits(std::string& movie) {
  if (movie.empty()) return;
  // Most of a movie is pictures and sound; what describes them is at the beginning or at the end.
  const std::size_t area = below(3);
  const std::size_t length = area == 0 ? movie.size() : std::min<std::size_t>(movie.size(), 3000);
  const std::size_t from = area == 2 ? movie.size() - length : 0;
  for (std::size_t count = 1 + below(20); count > 0; --count) {
    char& byte = movie[from + below(length)];
    byte = static_cast<char>(byte ^ 1 << below(8));
  }
}

void MovieMutator::overwriteRange(std::string& movie) {
  if (movie.empty()) return;
  const std::size_t from = below(movie.size()), length = std::min(movie.size() - from, 1 + below(64));
  const char fill = below(2) != 0 ? '\0' : '\xff';
  std::fill_n(movie.begin() + static_cast<std::ptrdiff_t>(from), length, fill);
}

bool MovieMutator::lieAboutSize(std::string& movie) {
  const auto boxes = boxesOf(movie);
  const Box* box = pick(boxes, {});
  if (!box) return false;
  put(movie, box->at, below(2) != 0 ? hostileNumber() : box->size + below(64) - 32, 4);
  return true;
}

bool MovieMutator::lieInTable(std::string& movie) {
  const auto boxes = boxesOf(movie);
  const Box* box =
      pick(boxes, {"stts", "ctts", "stsc", "stsz", "stz2", "stco", "co64", "stss", "sdtp", "sgpd", "sbgp",
                   "elst", "trun", "tfhd", "tfdt", "trex", "sidx", "mfra", "dref", "hdlr", "esds", "avcC"});
  if (!box || box->size < box->header + 8) return false;
  const std::size_t words = (box->size - box->header) / 4;
  // The count of entries is the second number more often than not.
  const std::size_t word = below(2) != 0 ? 1 : below(words);
  put(movie, box->at + box->header + 4 * word, hostileNumber(), 4);
  return true;
}

bool MovieMutator::changeDimensions(std::string& movie) {
  if (below(3) == 0 && changeCodedSize(movie)) return true;
  const auto boxes = boxesOf(movie);
  const Box* box = pick(boxes, {"tkhd", "avc1", "hvc1", "vp09", "mp4v"});
  if (!box) return false;
  static constexpr std::uint64_t sides[] = {0, 1, 16384, 32767, 65535};
  const std::uint64_t width = sides[below(std::size(sides))], height = sides[below(std::size(sides))];
  if (box->type == "tkhd") {
    const std::size_t behindMatrix = box->at + box->size - 8;
    put(movie, behindMatrix, width << 16, 4), put(movie, behindMatrix + 4, height << 16, 4);
    if (below(3) == 0) put(movie, behindMatrix - 36 + 4 * below(9), hostileNumber(), 4);
  } else {
    put(movie, box->at + box->header + 24, width, 2), put(movie, box->at + box->header + 26, height, 2);
  }
  return true;
}

bool MovieMutator::changeCodedSize(std::string& movie) {
  const CodedSize sizes(movie);
  if (sizes.count() == 0) return false;
  static constexpr std::uint32_t sides[] = {16, 48, 1024, 4096, 8192, 16384};
  const std::uint32_t width = sides[below(std::size(sides))], height = sides[below(std::size(sides))];
  return below(2) != 0 ? sizes.writeAll(movie, width, height) != 0
                       : sizes.write(movie, below(sizes.count()), width, height);
}

bool MovieMutator::changeDurations(std::string& movie) {
  const auto boxes = boxesOf(movie);
  const Box* box = pick(boxes, {"mvhd", "tkhd", "mdhd", "elst", "mehd"});
  if (!box) return false;
  const bool wide = movie[box->at + box->header] == 1;
  const std::size_t fields = box->at + box->header + 4;
  const int size = wide ? 8 : 4;
  // A century in ticks of a millisecond, among others.
  static constexpr std::uint64_t ticks[] = {0,
                                            1,
                                            3'155'760'000'000,
                                            0xffffffff,
                                            0x7fffffff,
                                            std::numeric_limits<std::uint64_t>::max(),
                                            std::numeric_limits<std::int64_t>::max()};
  const std::uint64_t duration = ticks[below(std::size(ticks))];
  const std::size_t times = fields + (wide ? 16 : 8);
  if (box->type == "elst") {
    put(movie, fields + 4, duration, size);
    if (below(2) != 0) put(movie, fields + 4 + static_cast<std::size_t>(size), hostileNumber() << 8 * (size - 4), size);
  } else if (box->type == "tkhd") {
    put(movie, times + 8, duration, size);
  } else if (box->type == "mehd") {
    put(movie, fields, duration, size);
  } else {
    if (below(2) != 0) put(movie, times, hostileNumber(), 4);
    if (below(3) != 0) put(movie, times + 4, duration, size);
  }
  return true;
}

bool MovieMutator::exchangeBoxes(std::string& movie) {
  const auto boxes = boxesOf(movie);
  const Box* first =
      pick(boxes, {"trak", "stbl", "stsd", "stts", "stsc", "stsz", "stco", "hdlr", "mdia", "moof", "traf"});
  if (!first) return false;
  const Box* second = pick(boxes, {first->type.c_str()});
  const Box& before = first->at < second->at ? *first : *second;
  const Box& behind = first->at < second->at ? *second : *first;
  if (before.at + before.size > behind.at) return false;
  const std::string a = movie.substr(before.at, before.size), b = movie.substr(behind.at, behind.size);
  movie.replace(behind.at, behind.size, a);
  movie.replace(before.at, before.size, b);
  return true;  // boxes around them that are of another size now make it worse
}

bool MovieMutator::multiplyTrack(std::string& movie) {
  const auto boxes = boxesOf(movie);
  const Box* track = pick(boxes, {"trak"});
  if (!track) return false;
  const std::string one = movie.substr(track->at, track->size);
  std::string tracks;
  for (int i = 0; i < 200; ++i) {
    tracks += one;
    // Most with numbers of their own: behind version, flags and two dates of the box `tkhd`.
    if (below(8) != 0)
      put(tracks, tracks.size() - one.size() + 8 + 20, std::uint64_t{10} + static_cast<unsigned>(i), 4);
  }
  insert(movie, *track, tracks);
  return true;
}

bool MovieMutator::nestBoxes(std::string& movie) {
  const auto boxes = boxesOf(movie);
  const Box* within = pick(boxes, {"moov", "trak", "udta", "mdia", "moof", "traf"});
  if (!within) return false;
  static constexpr std::size_t depths[] = {10, 1000, 20'000};
  const std::size_t depth = depths[below(std::size(depths))];
  static constexpr const char* types[] = {"moov", "trak", "udta", "meta", "ilst", "mdia", "dinf", "wave"};
  const std::string type = types[below(std::size(types))];
  std::string nest(depth * 8, '\0');
  for (std::size_t i = 0; i < depth; ++i) {
    put(nest, i * 8, nest.size() - i * 8, 4);
    nest.replace(i * 8 + 4, 4, type);
  }
  insert(movie, *within, nest);
  return true;
}

bool MovieMutator::changeFloat(std::string& movie) {
  // Matroska's duration, a number with eight bytes.
  const std::size_t at = movie.find("\x44\x89\x88");
  if (at == std::string::npos) return false;
  static const double numbers[] = {0.0, -1.0, 1e300, 3.15576e12, std::nan(""), std::numeric_limits<double>::infinity()};
  put(movie, at + 3, std::bit_cast<std::uint64_t>(numbers[below(std::size(numbers))]), 8);
  return true;
}
