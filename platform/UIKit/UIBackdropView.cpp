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

void UIBackdropView::updateMaskViewsForView(const Strong<UIView>& view) {
  if (!view) return;
  std::erase_if(maskViews_, [&](const auto& mask) { return mask.expired() || mask.lock() == view; });
  maskViews_.push_back(view);
  if ((view->_backdropMaskViewFlags() & shapingFlag) && bounds().size == CGSizeZero) setFrame(view->frame());
  setNeedsDisplay();
}
