#pragma once

#include "platform/backends/isobmff/CutPlan.h"
#include "platform/backends/posix/FileDescriptor.h"

#include <cstdint>
#include <memory>
#include <vector>

/// Movies made up in memory, as the reader would have found them, for tests of what is done with them.
namespace synthetic {

using isobmff::FourCC;
using isobmff::fourCC;

struct Picture {
  std::int64_t decodeTime = 0, presentationTime = 0;
  bool sync = false;
};

/// Pictures in decode order: a key picture every `interval`, and between the others up to `reordered` that are decoded
/// after the one they precede on screen. In an open group the last of those belong to the next key picture, which is
/// then decoded before them. `times` are the moments at which something is decoded or presented, one more than
/// pictures: presentation runs one behind decoding where pictures are reordered.
std::vector<Picture> picturesAt(const std::vector<std::int64_t>& times, int interval, int reordered = 0,
                                bool open = false);
/// The same at a steady rate, `length` ticks each.
std::vector<Picture> steadyPictures(int count, int length, int interval, int reordered = 0, bool open = false);

/// Collects tracks, then lays their samples out in a file of `byteAt` bytes.
class Builder {
 public:
  explicit Builder(std::uint32_t timescale = 1000);

  /// Adds a track whose description is a plain box of type `format`. Returns its index.
  std::size_t addTrack(FourCC handler, std::uint32_t timescale, FourCC format, std::uint32_t soundRate = 0);
  std::size_t addPictures(std::uint32_t timescale, const std::vector<Picture>& pictures);
  /// `packets` packets of `length` ticks and `size` bytes (0: differing), in runs of `perRun` alike ones.
  std::size_t addSound(std::uint32_t timescale, std::uint32_t rate, FourCC format, int packets, std::uint32_t length,
                       std::uint32_t perRun = 1, std::uint32_t size = 0);
  /// Adds a track of samples of `size` bytes with these durations. Returns its index.
  std::size_t addSamples(FourCC handler, std::uint32_t timescale, FourCC format, std::uint32_t size,
                         const std::vector<std::uint32_t>& durations);
  /// Appends a sample or run; decodeTime, index and offset are set here.
  void append(std::size_t track, isobmff::SampleRun run);

  isobmff::Track& track(std::size_t index) { return movie_.tracks[index]; }
  isobmff::Box& box(std::size_t index) { return movie_.moov.children[movie_.trackBoxes[index]]; }
  isobmff::Box& sampleTable(std::size_t index);

  /// Lays the samples out in the order of their decoding times, from `offset` on, with `gap` bytes between runs.
  isobmff::Movie finish(std::uint64_t offset = 4096, std::uint64_t gap = 0);

 private:
  isobmff::Movie movie_;
};

/// With a track of pictures, 30 a second of 20 ticks each, a key picture every second.
inline Builder withPictures(int count, int reordered = 0) {
  Builder builder;
  builder.addPictures(600, steadyPictures(count, 20, 30, reordered));
  return builder;
}

/// The plan of a cut, in seconds. Never null without `error`: ends the test where there is none.
std::unique_ptr<isobmff::CutPlan> planned(const isobmff::Movie& movie, double from, double to,
                                          NSErrorPtr* error = nullptr);
/// Each of a plan's samples is decoded when the one before ends, and presented no earlier.
void expectContinuous(const isobmff::TrackPlan& track);

/// A file on disk without a name.
FileDescriptor scratchFile();

/// The byte at a place of every synthetic source file.
inline std::uint8_t byteAt(std::uint64_t offset) {
  const std::uint64_t mixed = (offset + 1) * 0x9E3779B97F4A7C15ULL;
  return std::uint8_t(mixed >> 37 ^ mixed >> 53);
}

}  // namespace synthetic
