#include "platform/QuartzCore/CALayer.h"

#include "platform/QuartzCore/CAAnimator.h"
#include "platform/QuartzCore/CATransaction.h"

#include <algorithm>

CALayer::~CALayer() {
  CAAnimator::shared().forget(this);
  for (const auto& layer : sublayers_) layer->superlayer_ = nullptr;
}

void CALayer::setFrame(CGRect frame) {
  if (frame == frame_) return;
  auto& animator = CAAnimator::shared();
  if (animator.recordsChanges()) {
    animator.recordFrame(this, presentationFrame());
  } else {
    animator.endFrameAnimation(this);
  }
  frame_ = frame;
  CATransaction::setNeedsCommit();
}

void CALayer::setOpacity(float opacity) {
  opacity = std::clamp(opacity, 0.0f, 1.0f);
  if (opacity == opacity_) return;
  auto& animator = CAAnimator::shared();
  if (animator.recordsChanges()) {
    animator.recordOpacity(this, presentationOpacity());
  } else {
    animator.endOpacityAnimation(this);
  }
  opacity_ = opacity;
  CATransaction::setNeedsCommit();
}

void CALayer::setHidden(bool hidden) {
  if (hidden == hidden_) return;
  hidden_ = hidden;
  CATransaction::setNeedsCommit();
}

void CALayer::setMasksToBounds(bool masks) {
  if (masks == masksToBounds_) return;
  masksToBounds_ = masks;
  CATransaction::setNeedsCommit();
}

void CALayer::setCornerRadius(CGFloat radius) {
  if (radius == cornerRadius_) return;
  cornerRadius_ = radius;
  CATransaction::setNeedsCommit();
}

void CALayer::setBackgroundColor(std::optional<UIColor> color) {
  if (color == backgroundColor_) return;
  backgroundColor_ = color;
  CATransaction::setNeedsCommit();
}

CGRect CALayer::presentationFrame() const {
  return CAAnimator::shared().frameInFlight(this).value_or(frame_);
}

float CALayer::presentationOpacity() const {
  return CAAnimator::shared().opacityInFlight(this).value_or(opacity_);
}

void CALayer::addSublayer(const Strong<CALayer>& layer) {
  insertSublayer_below(layer, nullptr);
}

void CALayer::insertSublayer_below(const Strong<CALayer>& layer, const Strong<CALayer>& sibling) {
  if (!layer || layer == sibling) return;
  for (const CALayer* ancestor = this; ancestor; ancestor = ancestor->superlayer_) {
    if (ancestor == layer.get()) return;  // would make a circle
  }
  // The caller's reference may be the one in the list. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const Strong<CALayer> keep = layer;
  keep->removeFromSuperlayer();
  const auto place = sibling ? std::find(sublayers_.begin(), sublayers_.end(), sibling) : sublayers_.end();
  sublayers_.insert(place, keep);
  keep->superlayer_ = this;
  CATransaction::setNeedsCommit();
}

void CALayer::removeFromSuperlayer() {
  if (!superlayer_) return;
  auto& siblings = superlayer_->sublayers_;
  superlayer_ = nullptr;
  CATransaction::setNeedsCommit();
  const auto place = std::find_if(siblings.begin(), siblings.end(), [this](const auto& s) { return s.get() == this; });
  if (place == siblings.end()) return;
  const Strong<CALayer> last = std::move(*place);  // may be the last reference: nothing of `this` is used after it
  siblings.erase(place);
}

void CALayer::setNeedsDisplay() {
  ++contentVersion_;
  CATransaction::setNeedsCommit();
}

const char* CALayer::visualKind() const {
  return "layer";
}
