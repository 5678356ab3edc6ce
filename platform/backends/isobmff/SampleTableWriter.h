#pragma once

#include "platform/backends/isobmff/ByteWriter.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MediaLayout.h"

#include <vector>

namespace isobmff {

/// The chunk offsets of a track, which are known only when everything before the media is.
struct ChunkOffsets {
  std::size_t position = 0;  ///< of the first one among the bytes written
  std::uint32_t count = 0;
};

/// About how many bytes the new sample tables of a track take: not less than they do, and mostly not much more.
std::uint64_t sampleTableBytes(const Track& source, const TrackPlan& plan);

/// Writes the sample table of one track: the source's box with new tables in the old ones' places.
class SampleTableWriter {
 public:
  /// All arguments must outlive the writer. `wide`: 64-bit chunk offsets.
  SampleTableWriter(const Track& source, const TrackPlan& plan, const MediaLayout& layout, bool wide, ByteWriter& out);

  /// `box` is the source's stbl. Chunk offsets are written relative to the media's beginning.
  ChunkOffsets write(const Box& box);

 private:
  enum class Table {
    Times,
    Offsets,
    OffsetRange,
    Sync,
    PartialSync,
    Chunks,
    Sizes,
    Places,
    Dependencies,
    Groups,
    Count
  };

  static Table tableFor(FourCC type, bool& known);
  void write(Table table);
  void writeTimes();
  void writeOffsets();
  void writeOffsetRange();
  void writeSync(FourCC type, bool SampleRun::*flag);
  void writeChunks();
  void writeSizes();
  void writePlaces();
  void writeDependencies();
  void writeGroup(const SampleGroup& group);
  template <class Visit>
  void forEachChunk(Visit visit) const;

  const Track& source_;
  const TrackPlan& plan_;
  const MediaLayout& layout_;
  const bool wide_;
  ByteWriter& out_;
  ChunkOffsets places_;
};

}  // namespace isobmff
