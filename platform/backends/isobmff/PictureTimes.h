#pragma once

#include "platform/backends/isobmff/Movie.h"

#include <cstdint>
#include <vector>

namespace isobmff {

/// Gives the pictures of a cut their new times.
///
/// What is shown keeps its distances; the first picture shown begins at the in-point. The pictures before it, which are
/// only decoded, last one tick each, and a gap of one picture's length follows them: players that pass over the edit
/// list run through them in less than half a picture, and those that clip decoded pictures by the usual length of a
/// picture don't let the last of them show. Pictures that are decoded for others but belong behind the out-point follow
/// it, one tick each. Presentation is never before decoding, and decoding times grow strictly.
class PictureTimes {
 public:
  struct Cut {
    double inPoint = 0, outPoint = 0;  ///< media time, in seconds
    std::int64_t firstShown = 0;  ///< presentation time of the first picture shown, in ticks: what begins earlier is
                                  ///< hidden. It may lie before the in-point, or a little after it.
    std::int64_t end = 0;         ///< what is presented then or later is hidden, too, even before the out-point
    bool gap = true;              ///< between what is hidden and what is shown
  };

  /// Times that came as seconds are at most this much beside the tick that is meant, in seconds.
  static constexpr double kTolerance = 50e-6;

  /// `samples` are consecutive in decode order, each of count 1, with times in ticks of 1/`timescale`; changes their
  /// decodeTime, compositionOffset and duration. False when the times don't fit into a file.
  bool assign(std::vector<SampleRun>& samples, std::uint32_t timescale, const Cut& cut);

  std::uint32_t timescale() const { return timescale_; }         ///< of the new times
  std::int64_t inPoint() const { return inPoint_; }              ///< new media time of the in-point
  std::int64_t mediaDuration() const { return mediaDuration_; }  ///< sum of all new durations
  /// The new media time of `seconds`, which must not be before the in-point.
  std::int64_t newTime(double seconds) const;

 private:
  void chooseScale(const std::vector<SampleRun>& samples, std::uint32_t timescale, std::size_t headTicks,
                   std::int64_t pictureLength);

  std::uint32_t timescale_ = 0;
  std::int64_t multiplier_ = 1;
  std::int64_t inPoint_ = 0, oldInPoint_ = 0;  // both in new ticks
  std::int64_t mediaDuration_ = 0;
};

}  // namespace isobmff
