#pragma once

#include "platform/UIKit/UIView.h"

#include <vector>

/// A live, blurred and whitened view of what lies behind it ("_UIBackdropView" in the class registry).
///
/// Takes no touches unless told to. Mask views cut it: nothing of the backdrop is left where a mask view's picture is
/// opaque, so that what lies behind shows there as it is. A view whose backdrop mask flags have bit 4 (7 has it)
/// thereby gives the backdrop its outline, and its size; flags 3 leave a shape out of it.
class UIBackdropView : public UIView {
  ZV_OBJECT(UIBackdropView)
 public:
  UIBackdropView();
  static Strong<UIBackdropView> initWithPrivateStyle(int style);
  static Strong<UIBackdropView> initWithFrame_privateStyle(CGRect frame, int style);
  int privateStyle() const { return style_; }
  /// Takes over the view's flags, picture and place; the backdrop becomes as large as the first shaping mask when it
  /// has no size of its own.
  void updateMaskViewsForView(const Strong<UIView>& view);
  const std::vector<Weak<UIView>>& maskViews() const { return maskViews_; }
  /// What stands in the backdrop may be easier to grab than the backdrop is high.
  bool pointInside(CGPoint point) const override;
  const char* visualKind() const override { return "backdrop"; }

 private:
  int style_ = 0;
  std::vector<Weak<UIView>> maskViews_;
};
