#include "sharing/ZVYouTubeActivityProgressOverlay.h"

ZV_REGISTER_CLASS(ZVYouTubeActivityProgressOverlay, "ZVYouTubeActivityProgressOverlay", UIView, {})

namespace {

constexpr double fadeTime = 0.2;  // seconds
constexpr UIViewAutoresizing wholeSuperview = UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight;
constexpr UIViewAutoresizing inTheMiddle = UIViewAutoresizingFlexibleLeftMargin |
                                           UIViewAutoresizingFlexibleRightMargin | UIViewAutoresizingFlexibleTopMargin |
                                           UIViewAutoresizingFlexibleBottomMargin;

}  // namespace

Strong<ZVYouTubeActivityProgressOverlay> ZVYouTubeActivityProgressOverlay::initWithFrame(CGRect frame) {
  auto self = std::make_shared<ZVYouTubeActivityProgressOverlay>();
  self->setFrame(frame);
  self->setAutoresizingMask(wholeSuperview);
  return self;
}

void ZVYouTubeActivityProgressOverlay::setShowing_animated(bool showing, bool animated) {
  if (showing == isShowing_) return;
  isShowing_ = showing;
  if (showing) {
    setupOverlayAnimated(animated);
  } else {
    tearDownOverlayAnimated(animated);
  }
}

void ZVYouTubeActivityProgressOverlay::setupOverlayAnimated(bool /*animated*/) {
  removeChildren();  // shown again before it had gone
  const auto dimming = std::make_shared<UIView>();
  dimming->setFrame(bounds());
  dimming->setAutoresizingMask(wholeSuperview);
  addSubview(dimming);
  dimming->setBackgroundColor(UIColor::colorWithWhite_alpha(0.0F, 0.5F));
  setAlpha(0);
  wantsActivityIndicator_ = true;
  animateWithDuration_animations_completion(
      fadeTime, [this] { setAlpha(1); },
      [weak = weak_from_this(), fade = ++fades_](bool) {
        const auto self = std::static_pointer_cast<ZVYouTubeActivityProgressOverlay>(weak.lock());
        if (self && fade == self->fades_ && self->wantsActivityIndicator_) self->showActivityIndicator();
      });
}

void ZVYouTubeActivityProgressOverlay::showActivityIndicator() {
  activityIndicator_ =
      UIActivityIndicatorView::initWithActivityIndicatorStyle(UIActivityIndicatorViewStyle::WhiteLarge);
  activityIndicator_->startAnimating();
  activityIndicator_->setCenter({bounds().size.width / 2, bounds().size.height / 2});
  activityIndicator_->setAutoresizingMask(inTheMiddle);
  addSubview(activityIndicator_);
}

void ZVYouTubeActivityProgressOverlay::tearDownOverlayAnimated(bool /*animated*/) {
  stopActivity();
  animateWithDuration_animations_completion(
      fadeTime, [this] { setAlpha(0); },
      [weak = weak_from_this(), fade = ++fades_](bool) {
        const auto self = std::static_pointer_cast<ZVYouTubeActivityProgressOverlay>(weak.lock());
        if (!self || fade != self->fades_) return;  // shown again meanwhile
        self->removeChildren();
        self->removeFromSuperview();
      });
}

void ZVYouTubeActivityProgressOverlay::stopActivity() {
  wantsActivityIndicator_ = false;
  if (activityIndicator_) activityIndicator_->removeFromSuperview();
}

void ZVYouTubeActivityProgressOverlay::removeChildren() {
  while (!subviews().empty()) subviews().back()->removeFromSuperview();
}
