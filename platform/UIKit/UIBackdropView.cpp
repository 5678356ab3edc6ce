#include "platform/UIKit/UIBackdropView.h"

#include <algorithm>

ZV_REGISTER_CLASS(UIBackdropView, "_UIBackdropView", UIView, {})

namespace {

constexpr int shapingFlag = 4;

}  // namespace

UIBackdropView::UIBackdropView() {
  setUserInteractionEnabled(false);
}

Strong<UIBackdropView> UIBackdropView::initWithPrivateStyle(int style) {
  return initWithFrame_privateStyle(CGRectZero, style);
}

Strong<UIBackdropView> UIBackdropView::initWithFrame_privateStyle(CGRect frame, int style) {
  auto view = std::make_shared<UIBackdropView>();
  view->style_ = style;
  view->setFrame(frame);
  return view;
}

bool UIBackdropView::pointInside(CGPoint point) const {
  if (UIView::pointInside(point)) return true;
  return std::any_of(subviews().begin(), subviews().end(), [&](const Strong<UIView>& view) {
    const CGPoint origin = view->frame().origin;
    return view->pointInside({point.x - origin.x, point.y - origin.y});
  });
}

void UIBackdropView::updateMaskViewsForView(const Strong<UIView>& view) {
  if (!view) return;
  std::erase_if(maskViews_, [&](const auto& mask) { return mask.expired() || mask.lock() == view; });
  maskViews_.push_back(view);
  if ((view->_backdropMaskViewFlags() & shapingFlag) && bounds().size == CGSizeZero) setFrame(view->frame());
  setNeedsDisplay();
}
