#pragma once

#include <algorithm>
#include <chrono>

/// The player's time between what the core reports: it reports a time once a picture, and pictures can last for
/// seconds. Seconds of movie time.
class PlaybackClock {
 public:
  using Clock = std::chrono::steady_clock;

  /// Stands at `time`, or runs on from it; was there at the moment `when`.
  void jumpTo(double time, Clock::time_point when = Clock::now()) {
    anchor_ = time;
    notBefore_ = time;
    since_ = when;
  }
  /// The core has begun to play at the moment `when`, but not before the clock was last set; or it ceases now.
  void setRunning(bool running, Clock::time_point when = Clock::now()) {
    if (running != running_) {
      jumpTo(now(), running ? std::max(when, since_) : Clock::now());
      running_ = running;
    }
  }
  bool isRunning() const { return running_; }

  /// The core showed the picture of `time` at the moment `when`. A small difference never turns the clock back.
  void report(double time, Clock::time_point when) {
    const double expected = now();
    const double behind = expected - time - std::chrono::duration<double>(Clock::now() - when).count();
    const bool jitter = running_ && behind > 0 && behind < largestJitter;
    jumpTo(time, when);
    notBefore_ = jitter ? expected : time;
  }

  double now() const {
    if (!running_) {
      return anchor_;
    }
    const double time = anchor_ + std::chrono::duration<double>(Clock::now() - since_).count();
    return std::max(time, notBefore_);
  }

 private:
  static constexpr double largestJitter = 0.2;
  double anchor_ = 0;
  double notBefore_ = 0;
  Clock::time_point since_ = Clock::now();
  bool running_ = false;
};
