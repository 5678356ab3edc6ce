#include "platform/QuartzCore/CAAnimator.h"

#include "platform/QuartzCore/CALayer.h"
#include "platform/QuartzCore/CATransaction.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

namespace {

double steadySeconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// The cubic Bézier curve with the control points (0.42, 0) and (0.58, 1), as a function of time from 0 to 1.
double easeInOut(double time) {
  if (time <= 0) return 0;
  if (time >= 1) return 1;
  const auto x = [](double u) { return 3 * 0.42 * u * (1 - u) * (1 - u) + 3 * 0.58 * u * u * (1 - u) + u * u * u; };
  double low = 0, high = 1;
  for (int step = 0; step < 24; ++step) {
    const double middle = (low + high) / 2;
    (x(middle) < time ? low : high) = middle;
  }
  const double u = (low + high) / 2;
  return u * u * (3 - 2 * u);
}

float mix(float from, float to, double progress) {
  return static_cast<float>(from + (to - from) * progress);
}

/// The animations of one call of `animate`.
struct Group {
  double duration = 0;
  int running = 0;
  bool open = true;  ///< its block still runs
  bool finished = true;
  std::function<void(bool)> completion;
};

template <class Value>
struct Animation {
  const CALayer* layer;
  Value from;
  double start;
  std::shared_ptr<Group> group;
};

}  // namespace

struct CAAnimator::Impl {
  std::function<double()> clock = steadySeconds;
  std::function<void()> startHandler;
  double now = steadySeconds();
  std::vector<std::shared_ptr<Group>> open;
  std::vector<std::shared_ptr<Group>> done;  ///< their completions are still to run
  std::vector<Animation<CGRect>> frames;
  std::vector<Animation<float>> opacities;
  bool started = false;  ///< an animation has begun since the start handler was last called

  template <class Value>
  double progress(const Animation<Value>& animation) const {
    return easeInOut((now - animation.start) / animation.group->duration);
  }

  void leave(const std::shared_ptr<Group>& group, bool finished) {
    if (!finished) group->finished = false;
    if (--group->running == 0 && !group->open) done.push_back(group);
  }

  template <class Value>
  void end(std::vector<Animation<Value>>& list, const CALayer* layer) {
    const auto place = std::find_if(list.begin(), list.end(), [layer](const auto& a) { return a.layer == layer; });
    if (place == list.end()) return;
    const auto group = place->group;
    list.erase(place);
    leave(group, false);
  }

  template <class Value>
  void record(std::vector<Animation<Value>>& list, const CALayer* layer, Value from) {
    const auto& group = open.back();
    const auto place = std::find_if(list.begin(), list.end(), [layer](const auto& a) { return a.layer == layer; });
    if (place != list.end()) {
      if (place->group == group) return;  // changed twice in one block: still from what was on screen before
      const auto replaced = place->group;
      list.erase(place);
      leave(replaced, false);
    }
    list.push_back({layer, from, clock(), group});
    ++group->running;
    started = true;
  }

  template <class Value>
  void endThoseOver(std::vector<Animation<Value>>& list) {
    // A nanosecond of grace: a sum of times in binary may miss the end by a hair, which would cost a frame.
    const auto over = [this](const auto& a) { return now - a.start >= a.group->duration - 1e-9; };
    std::vector<std::shared_ptr<Group>> ended;
    for (const auto& animation : list) {
      if (over(animation)) ended.push_back(animation.group);
    }
    std::erase_if(list, over);
    for (const auto& group : ended) leave(group, true);
  }

  void runCompletions() {
    while (!done.empty()) {
      const auto group = done.front();
      done.erase(done.begin());
      if (const auto completion = std::move(group->completion)) completion(group->finished);
    }
  }
};

CAAnimator::CAAnimator() : impl_(std::make_shared<Impl>()) {}

CAAnimator& CAAnimator::shared() {
  // Never destroyed: layers that live in static objects are released after `main`.
  static auto& animator = *new CAAnimator;
  return animator;
}

void CAAnimator::animate(double duration, const std::function<void()>& animations,
                         std::function<void(bool finished)> completion) {
  const auto group = std::make_shared<Group>();
  group->duration = duration;
  impl_->open.push_back(group);
  if (animations) animations();
  impl_->open.pop_back();
  group->open = false;
  if (impl_->open.empty()) impl_->runCompletions();
  if (group->running > 0) {
    group->completion = std::move(completion);
  } else if (completion) {
    completion(group->finished);
  }
  if (std::exchange(impl_->started, false)) {
    if (const auto handler = impl_->startHandler) handler();
  }
}

bool CAAnimator::isAnimating() const {
  return !impl_->frames.empty() || !impl_->opacities.empty() || !impl_->done.empty();
}

void CAAnimator::tick(double now) {
  impl_->now = now;
  if (!impl_->frames.empty() || !impl_->opacities.empty()) CATransaction::setNeedsCommit();
  impl_->endThoseOver(impl_->frames);
  impl_->endThoseOver(impl_->opacities);
  impl_->runCompletions();
}

void CAAnimator::setClock(std::function<double()> clock) {
  impl_->clock = clock ? std::move(clock) : steadySeconds;
  impl_->now = impl_->clock();
}

void CAAnimator::setStartHandler(std::function<void()> handler) {
  impl_->startHandler = std::move(handler);
  if (const auto current = impl_->startHandler; current && isAnimating()) current();
}

bool CAAnimator::recordsChanges() const {
  return !impl_->open.empty() && impl_->open.back()->duration > 0;
}

void CAAnimator::recordFrame(CALayer* layer, CGRect from) {
  impl_->record(impl_->frames, layer, from);
}

void CAAnimator::recordOpacity(CALayer* layer, float from) {
  impl_->record(impl_->opacities, layer, from);
}

std::optional<CGRect> CAAnimator::frameInFlight(const CALayer* layer) const {
  for (const auto& animation : impl_->frames) {
    if (animation.layer != layer) continue;
    const double t = impl_->progress(animation);
    const CGRect from = animation.from, to = layer->frame();
    return CGRectMake(mix(from.origin.x, to.origin.x, t), mix(from.origin.y, to.origin.y, t),
                      mix(from.size.width, to.size.width, t), mix(from.size.height, to.size.height, t));
  }
  return std::nullopt;
}

std::optional<float> CAAnimator::opacityInFlight(const CALayer* layer) const {
  for (const auto& animation : impl_->opacities) {
    if (animation.layer == layer) return mix(animation.from, layer->opacity(), impl_->progress(animation));
  }
  return std::nullopt;
}

void CAAnimator::endFrameAnimation(const CALayer* layer) {
  impl_->end(impl_->frames, layer);
}

void CAAnimator::endOpacityAnimation(const CALayer* layer) {
  impl_->end(impl_->opacities, layer);
}

void CAAnimator::forget(const CALayer* layer) {
  endFrameAnimation(layer);
  endOpacityAnimation(layer);
}
