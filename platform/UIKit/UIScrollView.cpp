#include "platform/UIKit/UIScrollView.h"

#include "platform/UIKit/UIPanGestureRecognizer.h"

#include <algorithm>

ZV_REGISTER_CLASS(UIScrollView, "UIScrollView", UIView,
                  {{"handlePan:", [](NSObject& self, const Strong<NSObject>& by) {
                      const auto& pan = static_cast<UIPanGestureRecognizer&>(*by);
                      static_cast<UIScrollView&>(self).handleScroll({-pan.translation().x, -pan.translation().y});
                    }}})

namespace {

constexpr double scrollTime = 0.25, indicatorTime = 0.8;                                      // seconds
constexpr CGFloat roomAround = 8, indicatorWidth = 3, indicatorGap = 2, leastIndicator = 24;  // points

}  // namespace

UIScrollView::UIScrollView() : content_(std::make_shared<UIView>()), indicator_(std::make_shared<UIView>()) {
  layer()->setMasksToBounds(true);
  indicator_->setBackgroundColor(UIColor::colorWithWhite_alpha(0, 0.4F));
  indicator_->setUserInteractionEnabled(false);
  indicator_->setAlpha(0);
  addSubview(content_);
  addSubview(indicator_);
}

void UIScrollView::didMoveToWindow() {
  if (hasRecognizer_) return;
  hasRecognizer_ = true;
  addGestureRecognizer(UIPanGestureRecognizer::initWithTarget_action(shared_from_this(), "handlePan:"));
}

void UIScrollView::setContentSize(CGSize size) {
  content_->setFrame({content_->frame().origin, size});
  offset_ = withinContent(offset_);
  place();
}

CGPoint UIScrollView::withinContent(CGPoint offset) const {
  const CGSize size = bounds().size, content = contentSize();
  return {std::clamp(offset.x, 0.0F, std::max(content.width - size.width, 0.0F)),
          std::clamp(offset.y, 0.0F, std::max(content.height - size.height, 0.0F))};
}

void UIScrollView::setContentOffset_animated(CGPoint offset, bool animated) {
  offset = withinContent(offset);
  if (offset == offset_) return;
  offset_ = offset;
  if (animated) {
    UIView::animateWithDuration_animations(scrollTime, [this] { place(); });
  } else {
    place();
  }
  showIndicator();
}

void UIScrollView::place() {
  content_->setFrame({{-offset_.x, -offset_.y}, contentSize()});
}

void UIScrollView::showIndicator() {
  const CGSize size = bounds().size;
  const CGFloat all = contentSize().height;
  if (all <= size.height || size.height <= 0) return;
  const CGFloat length = std::max(size.height * size.height / all, std::min(leastIndicator, size.height));
  const CGFloat y = (size.height - length) * offset_.y / (all - size.height);
  indicator_->setFrame(CGRectMake(size.width - indicatorWidth - indicatorGap, y, indicatorWidth, length));
  indicator_->setAlpha(1);
  UIView::animateWithDuration_animations(indicatorTime, [this] { indicator_->setAlpha(0); });
}

void UIScrollView::scrollRectToVisible_animated(CGRect rect, bool animated) {
  const CGSize size = bounds().size;
  const CGFloat top = rect.origin.y - roomAround, bottom = rect.maxY() + roomAround;
  CGPoint offset = offset_;
  if (bottom > offset.y + size.height) offset.y = bottom - size.height;
  if (top < offset.y) offset.y = top;
  setContentOffset_animated(offset, animated);
}

bool UIScrollView::handleScroll(CGPoint delta) {
  const CGPoint before = offset_;
  setContentOffset_animated({offset_.x + delta.x, offset_.y + delta.y}, false);
  return !(offset_ == before);
}

void UIScrollView::layoutSubviews() {
  const CGPoint inside = withinContent(offset_);
  if (!(inside == offset_)) {
    offset_ = inside;
    place();
  }
}
