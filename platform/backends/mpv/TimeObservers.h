#pragma once

#include "platform/AVFoundation/AVPlayer.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

/// The time observers of one player. An observer lives as long as its token. Main queue only.
class TimeObservers : public std::enable_shared_from_this<TimeObservers> {
 public:
  struct Source {
    std::function<CMTime()> now;              ///< the player's time
    std::function<void()> boundariesChanged;  ///< a boundary came or went
  };
  explicit TimeObservers(Source source) : source_(std::move(source)) {}

  Strong<NSObject> addPeriodic(CMTime interval, dispatch_queue_t queue, std::function<void(CMTime)> block);
  Strong<NSObject> addBoundary(std::vector<CMTime> times, dispatch_queue_t queue, std::function<void()> block);
  void remove(const NSObject* token);

  /// Whether playback runs: periodic observers are called at once and then in their intervals, or for a last time.
  void setRunning(bool running);
  /// Calls every periodic observer once, soon.
  void jumped();

  /// The first boundary after `time`, seconds.
  std::optional<double> nextBoundary(double time) const;
  /// Playback has passed from `from` (exclusive) to `to` (inclusive), seconds.
  void passed(double from, double to);

 private:
  class Token;
  struct Observer {
    const NSObject* token;
    Weak<NSObject> alive;
    dispatch_queue_t queue;
    double interval = 0;
    bool scheduled = false;
    std::function<void(CMTime)> periodic;
    std::vector<double> times;
    std::function<void()> boundary;
  };
  using ObserverPtr = std::shared_ptr<Observer>;

  Strong<NSObject> add(const ObserverPtr& observer);
  void call(const ObserverPtr& observer);
  void schedule(const ObserverPtr& observer, double due);

  Source source_;
  std::vector<ObserverPtr> observers_;
  bool running_ = false;
  bool jumpPending_ = false;
};
