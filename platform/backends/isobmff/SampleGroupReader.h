#pragma once

#include "platform/backends/isobmff/BoxParser.h"
#include "platform/backends/isobmff/Movie.h"
#include "platform/backends/isobmff/ReadLimits.h"

#include <optional>
#include <vector>

namespace isobmff {

/// Collects the sample groups of one track, from its stbl and from its fragments.
///
/// The compact form of a group (csgp) is taken as the plain one (sbgp), unless it is damaged: then as none.
/// Descriptions that stand in a fragment are added to the sgpd box of stbl (once each); those of a form whose length
/// is not known (version 0 of an unknown grouping, version 2 and later) are dropped, their samples belong to no group.
class SampleGroupReader {
 public:
  explicit SampleGroupReader(ReadLimits& limits) : limits_(limits) {}

  /// Adds the groups of a box with sample tables, which are about the first `sampleCount` samples.
  void addTables(ByteSpan stbl, std::uint32_t sampleCount);
  /// Adds the groups of a traf box, which has `sampleCount` samples from number `firstSample` on. `stbl` is the tree's.
  void addFragment(ByteSpan traf, std::uint64_t firstSample, std::uint64_t sampleCount, Box& stbl);

  /// The samples that are marked as random access points of an open group of pictures.
  const std::vector<SampleGroup::Run>& openSync() const;
  /// Ends the collecting, for a track with `sampleCount` samples.
  std::vector<SampleGroup> take(std::uint64_t sampleCount);

 private:
  struct Descriptions;
  struct Collected {
    SampleGroup group;
    std::uint64_t samples = 0;  // that its runs speak of
    void append(std::uint64_t count, std::uint32_t description);
  };

  SampleGroup read(ByteSpan sbgp);
  std::optional<SampleGroup> readCompact(ByteSpan csgp);
  std::optional<SampleGroup> readGroup(const BoxView& box);
  Collected& collected(const SampleGroup& like);
  static std::optional<Descriptions> readDescriptions(ByteSpan sgpd);
  std::uint32_t addDescription(Box& stbl, const Descriptions& from, ByteSpan entry);

  ReadLimits& limits_;
  std::vector<Collected> groups_;
};

}  // namespace isobmff
