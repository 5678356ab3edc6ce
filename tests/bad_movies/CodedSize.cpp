#include "CodedSize.h"

#include "platform/backends/isobmff/BitReader.h"

#include <algorithm>
#include <bit>

namespace {

constexpr std::size_t kLongestSet = 64;  // bytes; those of the encoders here have some twenty
constexpr std::uint32_t kBlock = 16;

class BitWriter {
 public:
  void bits(std::uint32_t value, int count) {
    for (int i = count - 1; i >= 0; --i) put(value >> i & 1U);
  }
  void golomb(std::uint32_t value) {
    const int length = std::bit_width(value + 1);
    bits(0, length - 1);
    bits(value + 1, length);
  }
  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

 private:
  void put(std::uint32_t bit) {
    if (count_ % 8 == 0) bytes_.push_back(0);
    bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | bit << (7 - count_ % 8));
    ++count_;
  }
  std::vector<std::uint8_t> bytes_;
  int count_ = 0;
};

std::uint8_t byteAt(const std::string& movie, std::size_t at) {
  return at < movie.size() ? static_cast<std::uint8_t>(movie[at]) : 0;
}

/// How long the parameter set is, by the length or the start code in front of it; 0 when none begins there.
std::size_t lengthOfSet(const std::string& movie, std::size_t at) {
  if (at < 4 || (byteAt(movie, at) & 0x1fU) != 7 || (byteAt(movie, at) & 0xe0U) == 0) return 0;
  const std::size_t told = std::size_t{byteAt(movie, at - 2)} << 8 | byteAt(movie, at - 1);
  if (told == 1 && byteAt(movie, at - 3) == 0) {
    const std::size_t end = movie.find(std::string("\0\0\1", 3), at);
    return end - at <= kLongestSet ? end - at : 0;
  }
  return told >= 8 && told <= kLongestSet ? told : 0;
}

bool isHigh(std::uint32_t profile) {
  return profile == 100 || profile == 110 || profile == 122 || profile == 244;
}

}  // namespace

CodedSize::CodedSize(const std::string& movie) {
  static constexpr std::uint32_t profiles[] = {66, 77, 88, 100, 110, 122, 244};
  for (std::size_t at = 0; at + 8 < movie.size(); ++at) {
    const bool known = std::find(std::begin(profiles), std::end(profiles), byteAt(movie, at + 1)) != std::end(profiles);
    if (known && lengthOfSet(movie, at) != 0) places_.push_back({Kind::H264, at});
    if (movie.compare(at, 3, "\x9d\x01\x2a") == 0) places_.push_back({Kind::VP8, at + 3});
    if (movie.compare(at, 3, "\x49\x83\x42") == 0) places_.push_back({Kind::VP9, at + 3});
  }
}

bool CodedSize::writeH264(std::string& movie, std::size_t at, std::uint32_t width, std::uint32_t height) {
  const std::size_t length = lengthOfSet(movie, at);
  std::vector<std::uint8_t> plain;  // without the bytes that keep start codes out
  for (std::size_t i = 0; i < length; ++i) {
    const std::uint8_t byte = byteAt(movie, at + i);
    const std::size_t size = plain.size();
    if (byte == 3 && size >= 2 && plain[size - 1] == 0 && plain[size - 2] == 0) continue;
    plain.push_back(byte);
  }
  isobmff::BitReader reader(plain);
  BitWriter writer;
  const auto bits = [&](int count) {
    const std::uint32_t value = reader.bits(count);
    writer.bits(value, count);
    return value;
  };
  const auto golomb = [&] {
    const std::uint32_t value = reader.golomb();
    writer.golomb(value);
    return value;
  };
  bits(8);
  const std::uint32_t profile = bits(8);
  bits(16);
  golomb();
  if (isHigh(profile)) {
    if (golomb() == 3) bits(1);  // the kind of chroma
    golomb(), golomb(), bits(1);
    if (bits(1) != 0) return false;  // matrices: not from the encoders here
  }
  golomb();
  const std::uint32_t order = golomb();
  if (order == 0) golomb();
  if (order == 1) return false;
  golomb(), bits(1);
  reader.golomb(), reader.golomb();
  writer.golomb((width + kBlock - 1) / kBlock - 1);
  writer.golomb((height + kBlock - 1) / kBlock - 1);
  if (bits(1) == 0) bits(1);  // interlaced
  bits(1);
  writer.bits(0, 2);  // neither cut at the edges, nor any remarks
  writer.bits(1, 1);
  if (reader.isOver()) return false;

  std::string escaped;
  for (const std::uint8_t byte : writer.bytes()) {
    const std::size_t size = escaped.size();
    if (byte <= 3 && size >= 2 && escaped[size - 1] == 0 && escaped[size - 2] == 0) escaped.push_back(3);
    escaped.push_back(static_cast<char>(byte));
  }
  if (escaped.size() > length) return false;
  escaped.resize(length, '\0');
  movie.replace(at, length, escaped);
  return true;
}

bool CodedSize::write(std::string& movie, std::size_t place, std::uint32_t width, std::uint32_t height) const {
  const auto [kind, at] = places_.at(place);
  if (kind == Kind::H264) return writeH264(movie, at, width, height);
  if (at + 5 > movie.size()) return false;
  if (kind == Kind::VP8) {
    const std::uint32_t sides[] = {width & 0x3fffU, height & 0x3fffU};
    for (std::size_t i = 0; i < 4; ++i) movie[at + i] = static_cast<char>(sides[i / 2] >> 8 * (i % 2));
    return true;
  }
  // VP9 of 8 bits and 4:2:0: four bits of colour, then both sides less one.
  const std::uint32_t sides = (width - 1) << 16 | ((height - 1) & 0xffffU);
  movie[at] = static_cast<char>((byteAt(movie, at) & 0xf0U) | sides >> 28);
  for (std::size_t i = 1; i < 4; ++i) movie[at + i] = static_cast<char>(sides >> (28 - 8 * i));
  movie[at + 4] = static_cast<char>((byteAt(movie, at + 4) & 0x0fU) | (sides & 0xfU) << 4);
  return true;
}

std::size_t CodedSize::writeAll(std::string& movie, std::uint32_t width, std::uint32_t height) const {
  std::size_t count = 0;
  for (std::size_t place = 0; place < places_.size(); ++place) count += write(movie, place, width, height);
  return count;
}
