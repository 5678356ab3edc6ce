// Writes the tables of a movie file in the forms that the encoders here never use: retable IN OUT.
//
// 64-bit chunk offsets (co64), sample sizes of 16 bits (stz2), and two sample descriptions that take turns half-way
// through each track. The index must stand at the end of IN, so that no offset changes.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
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

std::string rewritten(const std::string& type, const std::string& payload, std::uint32_t chunks);

std::uint32_t chunkCount(const std::string& children) {
  for (std::size_t at = 0; at < children.size(); at += number(children, at)) {
    if (children.compare(at + 4, 4, "stco") == 0) return number(children, at + 12);
  }
  return 0;
}

std::string rewrittenChildren(const std::string& children, std::uint32_t chunks) {
  std::string result;
  for (std::size_t at = 0; at < children.size(); at += number(children, at)) {
    result += rewritten(children.substr(at + 4, 4), children.substr(at + 8, number(children, at) - 8), chunks);
  }
  return result;
}

std::string rewritten(const std::string& type, const std::string& payload, std::uint32_t chunks) {
  if (type == "moov" || type == "trak" || type == "mdia" || type == "minf") {
    return box(type, rewrittenChildren(payload, chunks));
  }
  if (type == "stbl") return box(type, rewrittenChildren(payload, chunkCount(payload)));
  if (type == "stsd") {
    const std::string entry = payload.substr(8, number(payload, 8));
    return box(type, payload.substr(0, 4) + bytes(2, 4) + entry + entry);
  }
  if (type == "stco") {
    std::string entries;
    for (std::uint32_t i = 0; i < chunks; ++i) entries += bytes(number(payload, 8 + 4 * std::size_t(i)), 8);
    return box("co64", payload.substr(0, 8) + entries);
  }
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
  if (argc != 3) {
    std::fprintf(stderr, "usage: retable IN OUT\n");
    return 2;
  }
  std::ifstream in(argv[1], std::ios::binary);
  const std::string file(std::istreambuf_iterator<char>(in), {});
  std::ofstream out(argv[2], std::ios::binary);
  for (std::size_t at = 0; at + 8 <= file.size();) {
    const std::size_t size = number(file, at);
    const std::string type = file.substr(at + 4, 4);
    if (size < 8 || size > file.size() - at || (type == "moov" && at + size != file.size())) {
      std::fprintf(stderr, "retable: %s: the index is not at the end\n", argv[1]);
      return 1;
    }
    out << (type == "moov" ? rewritten(type, file.substr(at + 8, size - 8), 0) : file.substr(at, size));
    at += size;
  }
  out.close();
  return out ? 0 : 1;
}
