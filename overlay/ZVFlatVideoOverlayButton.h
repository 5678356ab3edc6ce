#pragma once

#include "overlay/ZVVideoOverlayButton.h"
#include "platform/Dispatch/dispatch.h"
#include "platform/UIKit/UIButton.h"

/// A plain button whose two images are drawn once in a process and shared by all instances. Main queue only.
class ZVFlatVideoOverlayButton : public UIButton, public ZVVideoOverlayButton {
  ZV_OBJECT(ZVFlatVideoOverlayButton)
 public:
  static Strong<ZVFlatVideoOverlayButton> initWithStyle(int style);

  int style() const override { return _style; }
  void setTarget_action(const Strong<NSObject>& target, SEL action) override;

  void _handleTap(const Strong<NSObject>& sender);

 private:
  /// Made once in the process, by the first button that asks for it, and shared by all.
  class SharedImage {
   public:
    const Strong<UIImage>& image(float glyphAlpha);

   private:
    dispatch_once_t once_;
    Strong<UIImage> image_;
  };
  static const Strong<UIImage>& _normalButtonImage();
  static const Strong<UIImage>& _highlightedButtonImage();
  /// Grey level and opacity of the background, opacity of the glyph: each 0 to 1.
  static Strong<UIImage> _createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(float white,
                                                                                           float backgroundAlpha,
                                                                                           float glyphAlpha);

  int _style = 0;
  Strong<NSObject> _target;
  SEL _action;
};
