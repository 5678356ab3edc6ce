#pragma once

#include "platform/backends/isobmff/Movie.h"
#include "platform/backends/isobmff/ReadLimits.h"

#include <cstdint>

namespace isobmff {

/// Appends samples to a track, joins those that are alike, and keeps the sums right.
class SampleRunBuilder {
 public:
  /// Times stay below this number of ticks, so that nobody's sums overflow.
  static constexpr std::int64_t maximumTime = std::int64_t(1) << 60;

  SampleRunBuilder(Track& track, ReadLimits& limits) : track_(track), limits_(limits) {}

  /// Appends the samples of `run`, whose decodeTime and index are set here. Those that lie behind the end of the file
  /// are dropped, and all that are appended later. Throws ReadFailure for too many runs, samples or ticks.
  void append(SampleRun run);

  /// The next sample is to be decoded at `time`: the one before lasts until then. A time that lies so far back that it
  /// can't be is passed over.
  void continueAt(std::int64_t time);

  /// Where the samples so far end, in ticks.
  std::int64_t end() const { return end_; }
  bool isCutOff() const { return cutOff_; }

 private:
  void setLastDuration(std::int64_t duration);

  Track& track_;
  ReadLimits& limits_;
  std::int64_t end_ = 0;
  bool cutOff_ = false;
};

}  // namespace isobmff
