#pragma once

#include "platform/backends/isobmff/Movie.h"

#include <cstddef>
#include <limits>
#include <stdexcept>

namespace isobmff {

/// Puts boxes together in memory, numbers with the highest byte first.
class ByteWriter {
 public:
  explicit ByteWriter(Bytes& bytes) : bytes_(bytes) {}

  std::size_t size() const { return bytes_.size(); }

  void u16(std::uint16_t value) { put<2>(value); }
  void u32(std::uint32_t value) { put<4>(value); }
  void u64(std::uint64_t value) { put<8>(value); }
  void append(const Bytes& bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  /// A whole box, as it is.
  void append(const Box& box) {
    const std::size_t start = begin(box.type);
    append(box.payload);
    for (const Box& child : box.children) append(child);
    end(start);
  }
  void append(const std::uint8_t* bytes, std::size_t count) { bytes_.insert(bytes_.end(), bytes, bytes + count); }

  /// Begins a box; returns what `end` wants.
  std::size_t begin(FourCC type) {
    const std::size_t start = size();
    u32(0);
    u32(type);
    return start;
  }
  /// The same for a box with version and flags.
  std::size_t begin(FourCC type, std::uint8_t version, std::uint32_t flags = 0) {
    const std::size_t start = begin(type);
    u32(std::uint32_t(version) << 24 | flags);
    return start;
  }
  /// Ends the box, whose size is known now. Throws std::length_error for one of 4 GB.
  void end(std::size_t start) {
    const std::size_t length = size() - start;
    if (length > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("a box of 4 GB");
    setU32(start, std::uint32_t(length));
  }

  /// Drops what was written from `size` on.
  void shrink(std::size_t size) { bytes_.resize(size); }

  /// Changes what was written at a place.
  void setU32(std::size_t at, std::uint32_t value) { set<4>(at, value); }
  void setU64(std::size_t at, std::uint64_t value) { set<8>(at, value); }

 private:
  template <std::size_t Count>
  void put(std::uint64_t value) {
    const std::size_t at = bytes_.size();
    bytes_.resize(at + Count);
    set<Count>(at, value);
  }
  template <std::size_t Count>
  void set(std::size_t at, std::uint64_t value) {
    for (std::size_t i = 0; i < Count; ++i) bytes_[at + i] = std::uint8_t(value >> (8 * (Count - 1 - i)));
  }

  Bytes& bytes_;
};

}  // namespace isobmff
