#pragma once

#include <algorithm>
#include <chrono>

/// The player's time between what the core reports: it reports a time once a picture, and pictures can last for
/// seconds. Seconds of movie time.
class PlaybackClock {
 public:
  /// Stands at `time`, or runs on from it.
  void jumpTo(double time) {
    anchor_ = time;
    notBefore_ = time;
    since_ = Clock::now();
  }
  void setRunning(bool running) {
    if (running != running_) {
      jumpTo(now());
      running_ = running;
    }
  }
  bool isRunning() const { return running_; }

  /// The core shows the picture of `time` now. A small difference never turns the clock back.
  void report(double time) {
    const double expected = now();
    const bool jitter = running_ && time < expected && expected - time < largestJitter;
    jumpTo(time);
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
  using Clock = std::chrono::steady_clock;
  static constexpr double largestJitter = 0.2;
  double anchor_ = 0;
  double notBefore_ = 0;
  Clock::time_point since_ = Clock::now();
  bool running_ = false;
};
