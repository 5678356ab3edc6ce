// Writes the index of a movie file in forms that the encoders here never use: retable FORM IN OUT.
//
// tables     64-bit chunk offsets (co64), sample sizes of 16 bits (stz2), and two sample descriptions that take turns
//            half-way through each track
// far        the media behind 5 GiB that take no room on the disk
// edits      an edit list that leaves 1.609 s in the middle out
// gap        the same, with nothing at all for 0.8 s in its place
// described  all boxes that tell how a picture is to be shown: light levels, Dolby Vision, clean aperture
//
// The index must stand at the end of IN, behind the media.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace {

std::uint32_t number(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) value = value << 8 | std::uint8_t(bytes.at(at + i));
  return value;
}

std::string bytes(std::uint64_t value, int count) {
  std::string result;
  for (int i = count - 1; i >= 0; --i) result += char(value >> (8 * i) & 0xFF);
  return result;
}

std::string box(const std::string& type, const std::string& payload) {
  return bytes(payload.size() + 8, 4) + type + payload;
}

std::string form;  ///< one of those above

/// How far the media move.
constexpr std::uint64_t kFar = 5ULL << 30;

std::string rewritten(const std::string& type, const std::string& payload, std::uint32_t chunks);

/// The payload of the box that a path of types leads to, counted from the payload of a container.
std::string find(const std::string& children, const std::string& path) {
  for (std::size_t at = 0; at < children.size(); at += number(children, at)) {
    if (children.compare(at + 4, 4, path, 0, 4) != 0) continue;
    const std::string payload = children.substr(at + 8, number(children, at) - 8);
    return path.size() > 4 ? find(payload, path.substr(5)) : payload;
  }
  return "";
}

std::string rewrittenChildren(const std::string& children, std::uint32_t chunks) {
  std::string result;
  for (std::size_t at = 0; at < children.size(); at += number(children, at)) {
    result += rewritten(children.substr(at + 4, 4), children.substr(at + 8, number(children, at) - 8), chunks);
  }
  return result;
}

/// The chunk offsets as co64.
std::string wideOffsets(const std::string& payload, std::uint64_t shift) {
  std::string entries;
  for (std::uint32_t i = 0; i < number(payload, 4); ++i) {
    entries += bytes(number(payload, 8 + 4 * std::size_t(i)) + shift, 8);
  }
  return box("co64", payload.substr(0, 8) + entries);
}

/// Seconds 0 to 3.2 and 4.809 to 8 of a track that has an edit list of one entry: no picture and no packet of sound
/// begins at 4.809 s. Or seconds 0 to 3.2 and 4.8 to 8, where both begin, and 0.8 s of nothing between them. The
/// movie's unit is a millisecond.
std::string editedTrack(const std::string& payload) {
  const std::uint32_t scale = number(find(payload, "mdia/mdhd"), 12);
  const std::uint32_t start = number(find(payload, "edts/elst"), 12);
  const auto edit = [](std::uint32_t length, std::uint32_t from) {
    return bytes(length, 4) + bytes(from, 4) + bytes(0x10000, 4);
  };
  const bool gap = form == "gap";
  const auto moment = [&](std::uint64_t milliseconds) { return std::uint32_t(start + milliseconds * scale / 1000); };
  const std::string edits = gap ? bytes(3, 4) + edit(3200, start) + edit(800, ~0U) + edit(3200, moment(4800))
                                : bytes(2, 4) + edit(3200, start) + edit(3191, moment(4809));
  std::string result;
  for (std::size_t at = 0; at < payload.size(); at += number(payload, at)) {
    const bool list = payload.compare(at + 4, 4, "edts") == 0;
    result += list ? box("edts", box("elst", bytes(0, 4) + edits)) : payload.substr(at, number(payload, at));
  }
  return result;
}

/// A description of pictures with further boxes at its end.
std::string describedEntry(const std::string& entry) {
  const std::uint32_t width = number(entry, 32) >> 16, height = number(entry, 32) & 0xFFFF;
  const bool hevc = entry.compare(4, 4, "hvc1") == 0;
  std::string display;  // primaries and white point, the brightest and the darkest light
  for (const int coordinate : {13250, 34500, 7500, 3000, 34000, 16000, 15635, 16450})
    display += bytes(std::uint64_t(coordinate), 2);
  display += bytes(10'000'000, 4) + bytes(50, 4);
  const unsigned profile = hevc ? 8 : 9, level = 1;
  const std::string vision = bytes(1, 1) + bytes(0, 1) + bytes(profile << 9 | level << 3 | 5, 2) +
                             bytes(hevc ? 0x10 : 0x20, 1) + std::string(19, '\0');
  std::string aperture;  // all of it
  for (const std::uint32_t value : {width, 1U, height, 1U, 0U, 1U, 0U, 1U}) aperture += bytes(value, 4);
  const std::string more =
      box("mdcv", display) + box("clli", bytes(1000, 2) + bytes(400, 2)) + box("dvvC", vision) + box("clap", aperture);
  return bytes(entry.size() + more.size(), 4) + entry.substr(4) + more;
}

std::string rewritten(const std::string& type, const std::string& payload, std::uint32_t chunks) {
  if (type == "trak" && (form == "edits" || form == "gap")) return box(type, editedTrack(payload));
  if (type == "moov" || type == "trak" || type == "mdia" || type == "minf") {
    return box(type, rewrittenChildren(payload, chunks));
  }
  if (type == "stbl") return box(type, rewrittenChildren(payload, number(find(payload, "stco"), 4)));
  if (type == "stco" && form == "far") return wideOffsets(payload, kFar);
  if (type == "stsd" && form == "described") {
    const bool pictures = payload.compare(12, 4, "avc1") == 0 || payload.compare(12, 4, "hvc1") == 0;
    return box(type, pictures ? payload.substr(0, 8) + describedEntry(payload.substr(8)) : payload);
  }
  if (form != "tables") return box(type, payload);
  if (type == "stsd") {
    const std::string entry = payload.substr(8, number(payload, 8));
    return box(type, payload.substr(0, 4) + bytes(2, 4) + entry + entry);
  }
  if (type == "stco") return wideOffsets(payload, 0);
  if (type == "stsz" && number(payload, 4) == 0) {
    std::string sizes;
    for (std::uint32_t i = 0; i < number(payload, 8); ++i) sizes += payload.substr(12 + 4 * std::size_t(i) + 2, 2);
    return box("stz2", bytes(0, 4) + bytes(16, 4) + bytes(number(payload, 8), 4) + sizes);
  }
  if (type == "stsc" && chunks > 1) {
    std::string entries;
    std::uint32_t count = 0, samples = 0;
    const std::uint32_t runs = number(payload, 4), turn = chunks / 2 + 1;
    for (std::uint32_t run = 0, chunk = 1; chunk <= chunks; ++chunk) {
      while (run < runs && number(payload, 8 + 12 * std::size_t(run)) <= chunk) {
        samples = number(payload, 12 + 12 * std::size_t(run++));
      }
      entries += bytes(chunk, 4) + bytes(samples, 4) + bytes(chunk < turn ? 1 : 2, 4);
      ++count;
    }
    return box(type, payload.substr(0, 4) + bytes(count, 4) + entries);
  }
  return box(type, payload);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: retable tables|far|edits|gap|described IN OUT\n");
    return 2;
  }
  form = argv[1];
  std::ifstream in(argv[2], std::ios::binary);
  const std::string file(std::istreambuf_iterator<char>(in), {});
  std::ofstream out(argv[3], std::ios::binary);
  for (std::size_t at = 0; at + 8 <= file.size();) {
    const std::size_t size = number(file, at);
    const std::string type = file.substr(at + 4, 4);
    if (size < 8 || size > file.size() - at || (type == "moov" && at + size != file.size())) {
      std::fprintf(stderr, "retable: %s: the index is not at the end\n", argv[2]);
      return 1;
    }
    if (type == "mdat" && form == "far") {  // a longer header and a hole before the media
      out << bytes(1, 4) << type << bytes(size + kFar, 8);
      out.seekp(std::streamoff(at + 8 + kFar));
      out << file.substr(at + 8, size - 8);
    } else {
      out << (type == "moov" ? rewritten(type, file.substr(at + 8, size - 8), 0) : file.substr(at, size));
    }
    at += size;
  }
  out.close();
  return out ? 0 : 1;
}
