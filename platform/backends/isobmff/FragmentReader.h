#pragma once

#include "platform/backends/isobmff/FileScanner.h"
#include "platform/backends/isobmff/TrackReader.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace isobmff {

/// Adds the samples of movie fragments to the tracks.
///
/// A time (tfdt) that lies behind the end of what came before makes the last sample longer; one that lies before it
/// makes it shorter if it can, else the fragment follows without a gap.
class FragmentReader {
 public:
  /// Bytes of one moof: an hour of pictures and sound in a single one are about 10 MB.
  static constexpr std::uint64_t maximumSize = 64U << 20;

  /// `tracks` and `trees` (the trak boxes in the tree) are alike in number and order.
  FragmentReader(const FileScanner& file, std::vector<std::unique_ptr<TrackReader>>& tracks, Box& moov,
                 const std::vector<std::uint16_t>& trackBoxes, ReadLimits& limits);

  /// Takes the defaults (trex) of a mvex box.
  void readDefaults(ByteSpan mvex);
  /// Adds what a moof box holds. Throws ReadFailure.
  void read(const FileBox& moof);

 private:
  struct Defaults {
    std::uint32_t description = 1, duration = 0, size = 0, flags = 0;
  };
  /// A tfhd box.
  struct Header {
    Defaults defaults;
    std::uint64_t base = 0;
    TrackReader* track = nullptr;  ///< null: the movie has no such track; its data is skipped
    std::uint16_t trackBox = 0;
  };

  void readTrack(ByteSpan traf);
  Header readHeader(ByteSpan tfhd);
  void readRun(ByteSpan trun, const Header& header);
  static Box* sampleTables(Box& trak);

  const FileScanner& file_;
  std::vector<std::unique_ptr<TrackReader>>& tracks_;
  Box& moov_;
  const std::vector<std::uint16_t>& trackBoxes_;
  ReadLimits& limits_;
  std::map<std::uint32_t, std::size_t> trackNumbers_;  // by identifier
  std::map<std::uint32_t, Defaults> defaults_;
  std::uint64_t moofStart_ = 0;
  std::uint64_t dataEnd_ = 0;  // of what has been read so far in this moof
};

}  // namespace isobmff
