#pragma once

#include "platform/CoreGraphics/CGGeometry.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class CALayer;

/// Runs the animations of layers: from what is on screen when a value changes to the new value, eased in and out.
/// A new animation of the same value of a layer starts where the old one stands. Main queue only.
class CAAnimator {
 public:
  static CAAnimator& shared();

  /// Changes made by `animations` take `duration` seconds; `completion` runs when the last of them has ended (with
  /// true), or been replaced (false). With a duration of 0 or nothing to animate it runs at once. A change without an
  /// animation ends the one that is in flight. The completion of an animation that was replaced, or whose layer has
  /// gone, runs at the end of the outermost `animate` or at the next tick.
  void animate(double duration, const std::function<void()>& animations, std::function<void(bool finished)> completion);

  /// Whether there is something for `tick` to do.
  bool isAnimating() const;
  /// Moves every animation to the time `now` (seconds of a steady clock) and ends those that are over.
  void tick(double now);
  /// The clock that gives the start time of new animations; a steady clock unless a test sets another.
  void setClock(std::function<double()> clock);
  /// Called when the first animation starts, so that the back end begins to tick.
  void setStartHandler(std::function<void()> handler);

  // For CALayer.
  bool recordsChanges() const;
  void recordFrame(CALayer* layer, CGRect from);
  void recordOpacity(CALayer* layer, float from);
  std::optional<CGRect> frameInFlight(const CALayer* layer) const;
  std::optional<float> opacityInFlight(const CALayer* layer) const;
  void endFrameAnimation(const CALayer* layer);
  void endOpacityAnimation(const CALayer* layer);
  void forget(const CALayer* layer);

 private:
  CAAnimator();
  struct Impl;
  std::shared_ptr<Impl> impl_;
};
