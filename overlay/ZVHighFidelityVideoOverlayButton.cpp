#include "overlay/ZVHighFidelityVideoOverlayButton.h"

#include "platform/UIKit/UIImageView.h"

using Self = ZVHighFidelityVideoOverlayButton;

ZV_REGISTER_CLASS(ZVHighFidelityVideoOverlayButton, "ZVHighFidelityVideoOverlayButton", UIView,
                  ({{"_playButtonActivate:", runtime::method(&Self::_playButtonActivate)},
                    {"_playButtonDeactivate:", runtime::method(&Self::_playButtonDeactivate)},
                    {"_playButtonTapped:", runtime::method(&Self::_playButtonTapped)}}))

namespace {
constexpr int backdropStyle = 2010;
constexpr int shapesBackdrop = 7;
constexpr int leftOutOfBackdrop = 3;
}  // namespace

Strong<Self> ZVHighFidelityVideoOverlayButton::initWithStyle(int style) {
  const auto bundle = NSBundle::bundleForClass(staticClass());
  const Strong<UIImage> glyph = UIImage::imageNamed_inBundle(ZVVideoOverlayGlyphMaskImageName, bundle);
  const auto button = std::make_shared<UIButton>();
  button->setFrame(CGRectZero);
  button->setImage_forState(glyph, UIControlStateNormal);
  button->sizeToFit();
  button->setAccessibilityLabel("Play");

  const auto self = std::make_shared<Self>();
  self->setFrame(button->frame());
  self->_style = style;
  self->_button = button;
  button->addTarget_action_forControlEvents(self, "_playButtonTapped:", UIControlEventTouchUpInside);
  button->addTarget_action_forControlEvents(
      self, "_playButtonActivate:", UIControlEventTouchDown | UIControlEventTouchDragInside);
  button->addTarget_action_forControlEvents(self, "_playButtonDeactivate:", UIControlEventTouchDragOutside);
  // A press on the button is not a tap on the video.
  button->setDeliversTouchesForGesturesToSuperview(false);
  self->addSubview(button);
  self->setAutoresizingMask(UIViewAutoresizingFlexibleLeftMargin | UIViewAutoresizingFlexibleRightMargin |
                            UIViewAutoresizingFlexibleTopMargin | UIViewAutoresizingFlexibleBottomMargin);
  if (style == 0) self->buildBackdrop();
  self->_playButtonDeactivate(nullptr);
  return self;
}

void ZVHighFidelityVideoOverlayButton::buildBackdrop() {
  const auto bundle = NSBundle::bundleForClass(staticClass());
  const auto background =
      UIImageView::initWithImage(UIImage::imageNamed_inBundle(ZVVideoOverlayBackgroundMaskImageName, bundle));
  _backdropView = UIBackdropView::initWithPrivateStyle(backdropStyle);
  insertSubview_belowSubview(_backdropView, _button);
  addSubview(background);
  background->_setBackdropMaskViewFlags(shapesBackdrop);
  background->setAlpha(0);
  _backdropView->updateMaskViewsForView(background);
  _button->_setBackdropMaskViewFlags(leftOutOfBackdrop);
  _backdropView->updateMaskViewsForView(_button);
}

void ZVHighFidelityVideoOverlayButton::setTarget_action(const Strong<NSObject>& target, SEL action) {
  _target = target;
  _action = std::move(action);
}

void ZVHighFidelityVideoOverlayButton::_playButtonActivate(const Strong<NSObject>&) {
  _button->setAlpha(ZVVideoOverlayHighlightedGlyphAlpha);
}

void ZVHighFidelityVideoOverlayButton::_playButtonDeactivate(const Strong<NSObject>&) {
  _button->setAlpha(ZVVideoOverlayDefaultGlyphAlpha);
}

void ZVHighFidelityVideoOverlayButton::_playButtonTapped(const Strong<NSObject>&) {
  _playButtonDeactivate(nullptr);
  // Held here: the action may take this button off the screen, or replace the target.
  const Strong<NSObject> target = _target;
  const Strong<NSObject> self = shared_from_this();
  if (target && target->respondsToSelector(_action)) target->performSelector_withObject(_action, self);
}
