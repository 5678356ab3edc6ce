#pragma once

#include "platform/backends/isobmff/FourCC.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace isobmff {

using Bytes = std::vector<std::uint8_t>;

/// A box as it stood in the file. Containers that the cut has to look into (moov, trak, mdia, minf, stbl) hold
/// `children` and an empty payload; all others are opaque: the payload is everything after size and type (for a "uuid"
/// box it begins with the user type), byte for byte.
///
/// The sample tables themselves (stts, ctts, stss, stps, stsc, stsz, stz2, stco, co64, cslg, sdtp, sbgp, csgp, edts)
/// are read into Track; they stay in the tree with an empty payload, to mark the place where the writer puts the new
/// ones.
struct Box {
  FourCC type = 0;
  Bytes payload;
  std::vector<Box> children;
};

/// Samples that follow each other in the file without a gap and in decode order, all alike. A picture is mostly a run
/// of its own; a chunk of uncompressed sound is one run.
struct SampleRun {
  std::uint64_t offset = 0;            ///< of the first sample's first byte in the file
  std::int64_t decodeTime = 0;         ///< of the first sample, in ticks of the track's time scale
  std::uint32_t count = 0;             ///< at least 1
  std::uint32_t size = 0;              ///< bytes of one sample
  std::uint32_t duration = 0;          ///< ticks of one sample
  std::int32_t compositionOffset = 0;  ///< presentation time minus decode time, in ticks
  std::uint32_t index = 0;             ///< of the first sample in the track, from 0
  std::uint16_t description = 1;       ///< entry of stsd, from 1
  bool sync = true;                    ///< decoding can start here (a run with more than one sample: at each)
  bool partialSync = false;            ///< listed in stps: a key picture whose leading pictures need the one before

  std::int64_t presentationTime() const { return decodeTime + compositionOffset; }
};

/// A part of a track's timeline, as an edit list names it.
struct EditSegment {
  std::uint64_t duration = 0;  ///< in ticks of the movie's time scale; 0 in a fragmented file: to the end of the media
  std::int64_t mediaTime = 0;  ///< where it begins in the media, in ticks of the track's time scale; -1: nothing shown
};

/// Which samples belong to which description of a sample group (sgpd), run-length coded as in sbgp.
struct SampleGroup {
  struct Run {
    std::uint32_t count = 0;
    std::uint32_t description = 0;  ///< from 1; 0 for none. Always means the sgpd of stbl.
  };
  FourCC grouping = 0;
  std::optional<std::uint32_t> parameter;  ///< grouping_type_parameter of sbgp's version 1, or of csgp
  std::vector<Run> runs;                   ///< may end early: the rest belongs to none (or to sgpd's default)
};

struct Track {
  std::uint32_t identifier = 0;
  FourCC handler = 0;           ///< vide, soun, text, sbtl, subt, tmcd, meta, ...
  std::uint32_t timescale = 0;  ///< ticks a second; never 0
  std::vector<FourCC> formats;  ///< of the entries of stsd, at least one
  std::vector<SampleRun> runs;  ///< in decode order, without holes in `index`
  std::uint64_t sampleCount = 0;
  std::int64_t mediaDuration = 0;  ///< sum of all samples' durations, in ticks
  /// Empty when the file has none: then the media is shown from its time 0 on.
  std::vector<EditSegment> edits;
  /// Two bits each as sdtp stores them, a byte a sample; empty when the file has none.
  Bytes dependencies;
  std::vector<SampleGroup> groups;
  bool selfContained = true;  ///< false: a sample description in use points to another file
};

/// What stands in an ISO base media or QuickTime file, without the media itself.
struct Movie {
  Bytes fileType;                         ///< payload of ftyp; empty when the file has none (old QuickTime)
  Box moov;                               ///< without mvex
  std::vector<std::uint16_t> trackBoxes;  ///< for each of `tracks` the index of its trak among moov's children
  std::vector<Box> other;       ///< top-level boxes worth keeping that hold no file offsets (uuid, udta, meta)
  std::uint32_t timescale = 0;  ///< of the movie; never 0
  std::vector<Track> tracks;    ///< in file order
  bool fragmented = false;
  /// Whole seconds that samples' times are less than the fragments tell. Players show them.
  std::int64_t origin = 0;
  std::uint64_t fileSize = 0;
};

}  // namespace isobmff
