#pragma once

#include "platform/backends/isobmff/ReadFailure.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace isobmff {

using ByteSpan = std::span<const std::uint8_t>;

/// Numbers with the highest byte first, from memory that is known to be there.
inline std::uint16_t loadU16(const std::uint8_t* bytes) {
  return std::uint16_t(bytes[0] << 8 | bytes[1]);
}
inline std::uint32_t loadU32(const std::uint8_t* bytes) {
  std::uint32_t value;
  std::memcpy(&value, bytes, sizeof value);
  return std::endian::native == std::endian::little ? __builtin_bswap32(value) : value;
}
inline std::uint64_t loadU64(const std::uint8_t* bytes) {
  return std::uint64_t(loadU32(bytes)) << 32 | loadU32(bytes + 4);
}

/// Reads the fields of a box one after the other. Throws ReadFailure where the box ends before them.
class ByteReader {
 public:
  /// `what` names the box in messages; it must outlive the reader.
  ByteReader(ByteSpan bytes, const char* what) : bytes_(bytes), what_(what) {}

  std::size_t remaining() const { return bytes_.size(); }
  ByteSpan rest() const { return bytes_; }

  std::uint8_t u8() { return take(1)[0]; }
  std::uint16_t u16() { return loadU16(take(2).data()); }
  std::uint32_t u32() { return loadU32(take(4).data()); }
  std::uint64_t u64() { return loadU64(take(8).data()); }
  std::int32_t s32() { return std::int32_t(u32()); }
  std::int64_t s64() { return std::int64_t(u64()); }
  /// The version of a full box; skips its flags.
  int version() { return int(u32() >> 24); }

  void skip(std::size_t count) { take(count); }
  ByteSpan take(std::uint64_t count) {
    if (count > bytes_.size()) failDamaged(what_);
    const ByteSpan taken = bytes_.first(std::size_t(count));
    bytes_ = bytes_.subspan(std::size_t(count));
    return taken;
  }

 private:
  ByteSpan bytes_;
  const char* what_;
};

}  // namespace isobmff
