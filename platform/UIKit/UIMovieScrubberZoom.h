#pragma once

#include "platform/UIKit/UIMovieScrubberGeometry.h"

/// A value between 0 and 1 that goes to its goal in a given time, eased in and out. Times in seconds of one clock.
class UIMovieScrubberProgress {
 public:
  void moveTo(double goal, double now, double seconds);
  double at(double now) const;
  double goal() const { return goal_; }
  bool isMoving(double now) const { return now < begin_ + seconds_; }

 private:
  double from_ = 0, goal_ = 0, begin_ = 0, seconds_ = 0;
};

/// Which part of the movie the strip shows: all of it, or a few seconds around a handle that is held still.
class UIMovieScrubberZoom {
 public:
  static constexpr double animationSeconds = 0.25;

  /// Shows all of the movie at once.
  void reset(double duration);
  /// Widens the strip so that `seconds` stays where it lies now. Returns whether there is anything to widen: a movie
  /// that is short enough is shown whole.
  bool zoomIn(double seconds, double now);
  void zoomOut(double now);
  /// Ends what is on its way.
  void finish();
  /// Moves the zoomed window, as far as the movie goes.
  void scrollBy(double seconds);

  /// Widened, or on the way there.
  bool isZoomed() const { return zoomed_; }
  bool isMoving(double now) const { return progress_.isMoving(now); }
  /// What is shown when nothing moves any more.
  const UIMovieScrubberWindow& target() const { return to_; }
  UIMovieScrubberWindow shown(double now) const;

 private:
  double duration_ = 0;
  bool zoomed_ = false;
  UIMovieScrubberWindow from_, to_;
  UIMovieScrubberProgress progress_;
};
