#pragma once

#include "overlay/ZVVideoOverlayButton.h"
#include "platform/UIKit/UIBackdropView.h"
#include "platform/UIKit/UIButton.h"
#include "platform/UIKit/UIView.h"

/// A glyph button, for style 0 over a live blurred backdrop. As large as the glyph image. Main queue only.
class ZVHighFidelityVideoOverlayButton : public UIView, public ZVVideoOverlayButton {
  ZV_OBJECT(ZVHighFidelityVideoOverlayButton)
 public:
  static Strong<ZVHighFidelityVideoOverlayButton> initWithStyle(int style);

  int style() const override { return _style; }
  void setTarget_action(const Strong<NSObject>& target, SEL action) override;

  /// The inner button, which shows the glyph.
  const Strong<UIButton>& button() const { return _button; }
  /// Null but for style 0.
  const Strong<UIBackdropView>& backdropView() const { return _backdropView; }

  void _playButtonActivate(const Strong<NSObject>& sender);
  void _playButtonDeactivate(const Strong<NSObject>& sender);
  void _playButtonTapped(const Strong<NSObject>& sender);

 private:
  void buildBackdrop();

  int _style = 0;
  Strong<UIButton> _button;
  Strong<UIBackdropView> _backdropView;
  Strong<NSObject> _target;
  SEL _action;
};
