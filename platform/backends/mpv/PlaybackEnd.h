#pragma once

#include "platform/backends/ffmpeg/FrameLocator.h"
#include "platform/backends/mpv/MpvCore.h"

#include <cmath>
#include <functional>
#include <memory>
#include <optional>

/// Where playback ends: at a boundary, at the movie's end, or where the file's data ends before that. The core stops
/// with the last picture that it has shown; this waits until that picture's time is over. Main queue only; times are
/// seconds.
class PlaybackEnd : public std::enable_shared_from_this<PlaybackEnd> {
 public:
  struct Source {
    std::function<double()> position;
    /// Finds out which picture is on screen at a time; nothing when there is none.
    std::function<void(double time, FrameLocator::Completion completion)> locate;
  };
  struct Callbacks {
    std::function<void()> pictureStays;       ///< the core is done, but time goes on for its last picture
    std::function<void()> atBoundary;         ///< at `boundary`
    std::function<void(double end)> atMovie;  ///< at the movie's end, or at the end of what can be read of it
  };
  PlaybackEnd(Source source, Callbacks callbacks) : source_(std::move(source)), callbacks_(std::move(callbacks)) {}

  /// The movie is loaded.
  void start(std::shared_ptr<MpvCore> core) { core_ = std::move(core); }
  /// Not a number while it is unknown.
  void setDuration(double duration) { duration_ = duration; }
  double duration() const { return duration_; }

  /// Where the core is to stop before the movie's end. A boundary at the movie's end needs no stop of its own.
  void setBoundary(std::optional<double> boundary);
  const std::optional<double>& boundary() const { return boundary_; }

  /// The core has played all that it was to play. A callback comes for it, once, unless `cancel` comes first.
  void handleCoreEnded();
  /// Something else has been asked for.
  void cancel() { waiting_ = false; }
  /// Between the core's end and ours.
  bool isWaiting() const { return waiting_; }

 private:
  void waitUntil(double stop);
  void finish(double stop);

  Source source_;
  Callbacks callbacks_;
  std::shared_ptr<MpvCore> core_;
  double duration_ = NAN;
  std::optional<double> boundary_;
  bool waiting_ = false;
  unsigned turn_ = 0;  // counts the waits, so that an answer knows whether its own is still the latest
};
