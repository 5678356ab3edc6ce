#include "overlay/ZVFlatVideoOverlayButton.h"

using Self = ZVFlatVideoOverlayButton;

ZV_REGISTER_CLASS(ZVFlatVideoOverlayButton, "ZVFlatVideoOverlayButton", UIButton,
                  ({{"_handleTap:", runtime::method(&Self::_handleTap)}}))

Strong<Self> ZVFlatVideoOverlayButton::initWithStyle(int style) {
  const auto self = std::make_shared<Self>();
  self->setFrame(CGRectZero);
  self->_style = style;
  self->setImage_forState(_normalButtonImage(), UIControlStateNormal);
  self->setImage_forState(_highlightedButtonImage(), UIControlStateHighlighted);
  self->sizeToFit();
  self->setDeliversTouchesForGesturesToSuperview(false);
  self->setAccessibilityLabel("Play");
  self->addTarget_action_forControlEvents(self, "_handleTap:", UIControlEventTouchUpInside);
  return self;
}

void ZVFlatVideoOverlayButton::setTarget_action(const Strong<NSObject>& target, SEL action) {
  _target = target;
  _action = std::move(action);
}

void ZVFlatVideoOverlayButton::_handleTap(const Strong<NSObject>&) {
  const Strong<NSObject> target = _target;
  const Strong<NSObject> self = shared_from_this();
  if (target && target->respondsToSelector(_action)) target->performSelector_withObject(_action, self);
}

const Strong<UIImage>& ZVFlatVideoOverlayButton::_normalButtonImage() {
  static SharedImage shared;
  return shared.image(ZVVideoOverlayDefaultGlyphAlpha);
}

const Strong<UIImage>& ZVFlatVideoOverlayButton::_highlightedButtonImage() {
  static SharedImage shared;
  return shared.image(ZVVideoOverlayHighlightedGlyphAlpha);
}

const Strong<UIImage>& ZVFlatVideoOverlayButton::SharedImage::image(float glyphAlpha) {
  dispatch_once(once_, [&] {
    image_ = _createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(
        ZVVideoOverlayFlatBackgroundWhite, ZVVideoOverlayFlatBackgroundAlpha, glyphAlpha);
  });
  return image_;
}

Strong<UIImage> ZVFlatVideoOverlayButton::_createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(
    float white, float backgroundAlpha, float glyphAlpha) {
  const auto bundle = NSBundle::bundleForClass(staticClass());
  const Strong<UIImage> background = UIImage::imageNamed_inBundle(ZVVideoOverlayBackgroundMaskImageName, bundle);
  const Strong<UIImage> glyph = UIImage::imageNamed_inBundle(ZVVideoOverlayGlyphMaskImageName, bundle);
  const CGSize size = background ? background->size() : CGSizeZero;
  UIGraphicsBeginImageContextWithOptions(size, false, 0);
  CGContext* context = UIGraphicsGetCurrentContext();
  CGContextSetGrayFillColor(context, white, backgroundAlpha);
  CGContextFillRect(context, {{0, 0}, size});
  if (background) background->drawAtPoint_blendMode_alpha({0, 0}, CGBlendMode::DestinationOut, 1);
  if (glyph) {
    glyph->drawAtPoint_blendMode_alpha({0, 0}, CGBlendMode::DestinationOut, 1);
    glyph->drawAtPoint_blendMode_alpha({0, 0}, CGBlendMode::Normal, glyphAlpha);
  }
  const Strong<UIImage> image = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  return image;
}
