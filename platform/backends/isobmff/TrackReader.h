#pragma once

#include "platform/backends/isobmff/BoxParser.h"
#include "platform/backends/isobmff/Movie.h"
#include "platform/backends/isobmff/SampleGroupReader.h"
#include "platform/backends/isobmff/SampleRunBuilder.h"

#include <optional>
#include <vector>

namespace isobmff {

/// Reads one trak box, and takes what its fragments add.
class TrackReader {
 public:
  /// `limits` is what the movie's tracks share.
  explicit TrackReader(ReadLimits& limits) : limits_(limits), builder_(track_, limits), groups_(limits) {}
  TrackReader(const TrackReader&) = delete;

  /// False for a track that no player can do anything with: one without a handler, time scale, header or sample
  /// description. Throws ReadFailure for one that is damaged.
  bool read(ByteSpan trak, bool quickTimeFile);

  const Track& track() const { return track_; }
  SampleRunBuilder& builder() { return builder_; }
  SampleGroupReader& groups() { return groups_; }

  /// What sample flags of fragments say about `count` samples that have just been appended (as sdtp stores it).
  void addDependencies(std::uint8_t dependencies, std::uint64_t count);
  /// Moves all times forward or back, with the edit list's.
  void shift(std::int64_t ticks);
  /// Ends the reading.
  Track take();

 private:
  bool readDescriptions(ByteSpan stbl, ByteSpan minf, const struct SampleTables& tables, bool quickTimeFile);
  void readEdits(ByteSpan trak);
  bool isExternal(ByteSpan minf, const std::vector<bool>& usedReferences) const;

  ReadLimits& limits_;
  Track track_;
  SampleRunBuilder builder_;
  SampleGroupReader groups_;
  std::uint32_t packetBytes_ = 0, packetFrames_ = 0;
  bool dependenciesMatter_ = false, dependenciesDropped_ = false;
};

}  // namespace isobmff
