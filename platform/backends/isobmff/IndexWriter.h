#pragma once

#include "platform/backends/isobmff/ByteWriter.h"
#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MediaLayout.h"
#include "platform/backends/isobmff/SampleTableWriter.h"

#include <vector>

namespace isobmff {

/// Writes the moov box of a cut: the source's, byte for byte, but for durations, edit lists, sample tables and the
/// times of chapters and marks.
class IndexWriter {
 public:
  /// All arguments must outlive the writer.
  IndexWriter(const Movie& movie, const CutPlan& plan, const MediaLayout& layout, bool wide);

  /// Appends the box to `bytes`, with chunk offsets relative to the media's beginning.
  void write(Bytes& bytes);
  /// Adds the media's offset in the file to all chunk offsets in what `write` appended.
  void placeMedia(Bytes& bytes, std::uint64_t offset) const;

 private:
  void writeTrack(const Box& box, std::size_t track, ByteWriter& out);
  void writeChildren(const Box& box, std::size_t track, ByteWriter& out);
  void writeReferences(const Box& box, ByteWriter& out) const;
  void writeEdits(const TrackPlan& plan, ByteWriter& out) const;

  const Movie& movie_;
  const CutPlan& plan_;
  const MediaLayout& layout_;
  const bool wide_;
  std::vector<ChunkOffsets> places_;
};

}  // namespace isobmff
