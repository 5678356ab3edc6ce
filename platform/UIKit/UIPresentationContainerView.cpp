#include "platform/UIKit/UIPresentationContainerView.h"

#include "platform/UIKit/UIViewController.h"

ZV_REGISTER_CLASS(UIPresentationContainerView, "UIPresentationContainerView", UIView, {})

Strong<UIPresentationContainerView> UIPresentationContainerView::create(UIPresentationController& owner) {
  auto self = std::make_shared<UIPresentationContainerView>();
  self->owner_ = std::static_pointer_cast<UIPresentationController>(owner.shared_from_this());
  self->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
  self->setDeliversTouchesForGesturesToSuperview(false);
  self->dimming_ = std::make_shared<UIView>();
  self->dimming_->setBackgroundColor(UIColor::blackColor());
  self->dimming_->setAlpha(0);
  self->dimming_->setUserInteractionEnabled(false);
  self->addSubview(self->dimming_);
  self->decoration_ = owner.makeDecoration();
  if (self->decoration_) self->addSubview(self->decoration_);
  return self;
}

void UIPresentationContainerView::layoutSubviews() {
  if (const auto owner = owner_.lock()) owner->layout();
}

void UIPresentationContainerView::handleTouch(const UITouch& touch) {
  if (touch.phase == UITouchPhase::Began) {
    if (!trackedTouch_) trackedTouch_ = touch.identifier;
    return;
  }
  if (trackedTouch_ != touch.identifier || touch.phase == UITouchPhase::Moved) return;
  trackedTouch_.reset();
  const auto self = std::static_pointer_cast<UIView>(weak_from_this().lock());
  const auto owner = owner_.lock();
  if (touch.phase == UITouchPhase::Cancelled || !owner || !owner->dismissesByTouchOutside()) return;
  if (hitTest(convertPointFromWindow(touch.locationInWindow)) != self) return;
  if (const auto presented = owner->presentedViewController()) presented->cancelPresentation();
}
