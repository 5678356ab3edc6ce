#pragma once

#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/isobmff/MovieWriter.h"

#include <cstdint>
#include <optional>
#include <vector>

/// What a finished export must show at its two ends, worked out from the plan before the file is written. Small, so
/// that the tables of source and plan need not be kept for the check.
struct ExportExpectations {
  /// Bytes of the source that must stand in the new file.
  struct Piece {
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
  };

  /// One end of a track.
  struct End {
    double time = 0;        ///< of the first or last sample shown, seconds, as a player of the new file counts
    double packetTime = 0;  ///< the same, but where it really begins: sound may begin inside a packet
    Piece sample;
    /// Pictures only: everything from the key frame to that sample, itself included, in decode order. Just the key
    /// frame and the sample when that is more than can be looked at (`groupIsWhole` is false).
    std::vector<Piece> group;
    bool groupIsWhole = true;
  };

  struct Track {
    std::uint32_t identifier = 0;
    isobmff::FourCC handler = 0;
    double sampleDuration = 0;  ///< of the last sample shown, seconds
    double usualDuration = 0;   ///< of those around it, seconds
    bool hasAllBefore = false;  ///< the source has nothing before what the file begins with
    End first, last;
  };

  std::vector<Track> tracks;  ///< those that show something
  /// Where in the source all of that lies that the check is going to read of the new file's media, rising: a few
  /// megabytes. A hint: written early, it lets the check go on beside the copying of the rest.
  std::vector<isobmff::ByteRange> media;
  double duration = 0;               ///< seconds, as a player counts
  std::uint64_t sourcePictures = 0;  ///< in all the source's tracks
  double sourceStart = 0;            ///< the source's player's time of what the new file's player calls 0, seconds

  static ExportExpectations of(const isobmff::Movie& movie, const isobmff::CutPlan& plan);
};
