#pragma once

#include "platform/backends/isobmff/ByteReader.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace isobmff {

/// A table of entries of one size in memory, checked to be all there.
struct TableView {
  const std::uint8_t* data = nullptr;
  std::uint32_t count = 0;
};

/// The sample tables of one stbl box, not copied.
struct SampleTables {
  /// Throws ReadFailure for tables that claim more than they hold. `stbl` must outlive the tables.
  explicit SampleTables(ByteSpan stbl);

  TableView timeToSample;                ///< stts: 32 bits count, 32 bits duration
  TableView compositionOffset;           ///< ctts: 32 bits count, 32 bits offset (signed, whatever the version says)
  TableView sampleToChunk;               ///< stsc: 32 bits each: first chunk, samples, description
  std::optional<TableView> syncSamples;  ///< stss, 32 bits each
  TableView partialSyncSamples;          ///< stps, 32 bits each
  std::uint32_t sampleCount = 0;
  std::uint32_t uniformSize = 0;  ///< not 0: of every sample, also when a table says the same for each
  TableView sizes;                ///< else one for each sample,
  int sizeBits = 32;              ///< of 4, 8, 16 or 32 bits
  TableView chunkOffsets;
  bool longOffsets = false;  ///< 64 bits each
  ByteSpan dependencies;     ///< sdtp, a byte a sample

  std::uint32_t size(std::uint32_t sample) const {
    if (uniformSize != 0) return uniformSize;
    switch (sizeBits) {
      case 32:
        return loadU32(sizes.data + std::size_t(sample) * 4);
      case 16:
        return loadU16(sizes.data + std::size_t(sample) * 2);
      case 8:
        return sizes.data[sample];
      default:
        return sample % 2 == 0 ? sizes.data[sample / 2] >> 4 : sizes.data[sample / 2] & 0xF;
    }
  }
  /// A duration as it is taken: one with the highest bit set was meant as a small step back, which no decoder can be
  /// given.
  static std::uint32_t duration(std::uint32_t stored) { return stored > 0x7FFFFFFF ? 1 : stored; }
  /// Whether every sample takes one tick.
  bool isDurationOne() const;
  std::uint64_t chunkOffset(std::uint32_t chunk) const {
    return longOffsets ? loadU64(chunkOffsets.data + std::size_t(chunk) * 8)
                       : loadU32(chunkOffsets.data + std::size_t(chunk) * 4);
  }

 private:
  void findUniformSize();
  void readSizes(ByteSpan payload);
  void readCompactSizes(ByteSpan payload);
};

}  // namespace isobmff
