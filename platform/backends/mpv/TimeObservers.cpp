#include "platform/backends/mpv/TimeObservers.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

constexpr double shortestInterval = 0.001;
constexpr double sameTime = 1e-5;

double steadySeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

/// What the caller holds; its end is the end of the observer.
class TimeObservers::Token : public AVPlayer::TimeObserver {
 public:
  explicit Token(std::weak_ptr<TimeObservers> owner) : owner_(std::move(owner)) {}
  ~Token() override {
    if (const auto owner = owner_.lock()) {
      owner->remove(this);
    }
  }

 private:
  std::weak_ptr<TimeObservers> owner_;
};

Strong<NSObject> TimeObservers::add(const ObserverPtr& observer) {
  auto token = std::make_shared<Token>(weak_from_this());
  observer->token = token.get();
  observer->alive = token;
  if (!observer->queue) {
    observer->queue = dispatch_get_main_queue();
  }
  observers_.push_back(observer);
  return token;
}

Strong<NSObject> TimeObservers::addPeriodic(CMTime interval, dispatch_queue_t queue,
                                            std::function<void(CMTime)> block) {
  const auto observer = std::make_shared<Observer>();
  const double seconds = CMTimeGetSeconds(interval);
  observer->interval = std::isfinite(seconds) ? std::max(seconds, shortestInterval) : 1.0;
  observer->queue = std::move(queue);
  observer->periodic = std::move(block);
  auto token = add(observer);
  if (running_) {
    schedule(observer, steadySeconds());
  } else {
    jumped();  // whoever shows the time may still show that of another player
  }
  return token;
}

Strong<NSObject> TimeObservers::addBoundary(std::vector<CMTime> times, dispatch_queue_t queue,
                                            std::function<void()> block) {
  const auto observer = std::make_shared<Observer>();
  for (const CMTime time : times) {
    if (time.isValid()) {
      observer->times.push_back(CMTimeGetSeconds(time));
    }
  }
  observer->queue = std::move(queue);
  observer->boundary = std::move(block);
  auto token = add(observer);
  source_.boundariesChanged();
  return token;
}

void TimeObservers::remove(const NSObject* token) {
  const auto found = std::find_if(observers_.begin(), observers_.end(),
                                  [&](const ObserverPtr& observer) { return observer->token == token; });
  if (found == observers_.end()) {
    return;
  }
  const bool boundary = (*found)->boundary != nullptr;
  // Kept until the end of this function: what the block holds may come back here as it goes.
  const ObserverPtr removed = *found;
  observers_.erase(found);
  if (boundary) {
    source_.boundariesChanged();
  }
}

void TimeObservers::setRunning(bool running) {
  if (running == running_) {
    return;
  }
  running_ = running;
  if (!running) {
    jumped();
    return;
  }
  const double now = steadySeconds();
  for (const auto& observer : observers_) {
    if (observer->periodic) {
      schedule(observer, now);
    }
  }
}

void TimeObservers::jumped() {
  if (jumpPending_) {
    return;
  }
  jumpPending_ = true;
  dispatch_async(dispatch_get_main_queue(), [weak = weak_from_this()] {
    if (const auto self = weak.lock()) {
      self->jumpPending_ = false;
      const auto observers = self->observers_;
      for (const auto& observer : observers) {
        self->call(observer);
      }
    }
  });
}

void TimeObservers::call(const ObserverPtr& observer) {
  const auto token = observer->alive.lock();
  if (!observer->periodic || !token) {
    return;
  }
  const CMTime now = source_.now();
  if (dispatch_is_current(observer->queue)) {
    observer->periodic(now);
  } else {
    dispatch_async(observer->queue, [observer, now] {
      if (observer->alive.lock()) {
        observer->periodic(now);
      }
    });
  }
}

void TimeObservers::schedule(const ObserverPtr& observer, double due) {
  if (observer->scheduled) {
    return;
  }
  observer->scheduled = true;
  const auto tick = [weak = weak_from_this(), weakObserver = std::weak_ptr(observer), due] {
    const auto self = weak.lock();
    const auto ticking = weakObserver.lock();
    if (!self || !ticking) {
      return;
    }
    ticking->scheduled = false;
    if (!self->running_) {
      return;
    }
    self->call(ticking);
    // In step with the first call; calls that the main queue had no time for are left out.
    const double now = steadySeconds();
    double next = due + ticking->interval;
    if (next < now) {
      next = now + ticking->interval;
    }
    self->schedule(ticking, next);
  };
  dispatch_after(std::max(0.0, due - steadySeconds()), dispatch_get_main_queue(), tick);
}

std::optional<double> TimeObservers::nextBoundary(double time) const {
  std::optional<double> next;
  for (const auto& observer : observers_) {
    for (const double boundary : observer->times) {
      if (boundary > time + sameTime && (!next || boundary < *next)) {
        next = boundary;
      }
    }
  }
  return next;
}

void TimeObservers::passed(double from, double to) {
  const auto observers = observers_;
  for (const auto& observer : observers) {
    const bool hit = std::any_of(observer->times.begin(), observer->times.end(),
                                 [&](double time) { return time > from + sameTime && time <= to + sameTime; });
    const auto token = observer->alive.lock();
    if (!hit || !token) {
      continue;
    }
    if (dispatch_is_current(observer->queue)) {
      observer->boundary();
    } else {
      dispatch_async(observer->queue, [observer] {
        if (observer->alive.lock()) {
          observer->boundary();
        }
      });
    }
  }
}
