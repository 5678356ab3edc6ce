#include "platform/UIKit/UIView.h"

#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIGestureRecognizer.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>

ZV_REGISTER_CLASS(UIView, "UIView", UIResponder, {})

namespace {

/// Below this a view counts as not there.
constexpr float leastVisibleAlpha = 0.01f;

class ViewLayer : public CALayer {
 public:
  const char* visualKind() const override { return view() ? view()->visualKind() : CALayer::visualKind(); }
};

}  // namespace

UIView::UIView() : layer_(std::make_shared<ViewLayer>()) {
  layer_->view_ = this;
}

UIView::~UIView() {
  layer_->view_ = nullptr;
  layer_->removeFromSuperlayer();
  for (const auto& view : subviews_) {
    view->superview_ = nullptr;
    view->layer_->removeFromSuperlayer();
  }
}

CGPoint UIView::center() const {
  const CGRect now = frame();
  return {now.origin.x + now.size.width / 2, now.origin.y + now.size.height / 2};
}

void UIView::setCenter(CGPoint center) {
  const CGSize size = bounds().size;
  setFrame({{center.x - size.width / 2, center.y - size.height / 2}, size});
}

CGPoint UIView::convertPointToWindow(CGPoint point) const {
  for (const UIView* view = this; view->superview_; view = view->superview_) {
    point.x += view->frame().origin.x;
    point.y += view->frame().origin.y;
  }
  return point;
}

CGPoint UIView::convertPointFromWindow(CGPoint point) const {
  const CGPoint origin = convertPointToWindow({0, 0});
  return {point.x - origin.x, point.y - origin.y};
}

void UIView::sizeToFit() {
  setFrame({frame().origin, sizeThatFits()});
}

Strong<UIView> UIView::superview() const {
  return superview_ ? std::static_pointer_cast<UIView>(superview_->weak_from_this().lock()) : nullptr;
}

UIWindow* UIView::window() const {
  const UIView* top = this;
  while (top->superview_) top = top->superview_;
  return dynamic_cast<UIWindow*>(const_cast<UIView*>(top));
}

bool UIView::containsView(const UIView* view) const {
  while (view && view != this) view = view->superview_;
  return view == this;
}

void UIView::addSubview(const Strong<UIView>& view) {
  insertSubview(view, nullptr);
}

void UIView::insertSubview_belowSubview(const Strong<UIView>& view, const Strong<UIView>& sibling) {
  if (view != sibling) insertSubview(view, sibling.get());
}

void UIView::insertSubview(const Strong<UIView>& view, const UIView* sibling) {
  if (!view || view->containsView(this)) return;  // a view can't lie in itself
  // The caller's reference may be the one in the list. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const Strong<UIView> keep = view;
  const bool stays = keep->superview_ == this;
  UIWindow* const here = window();
  UIWindow* const before = keep->window();
  if (before && before != here) keep->sendWillLeaveWindow();
  if (!stays) keep->dropConstraintsOfSuperviews();
  keep->detachFromSuperview();

  const auto place =
      std::find_if(subviews_.begin(), subviews_.end(), [&](const auto& s) { return s.get() == sibling; });
  layer_->insertSublayer_below(keep->layer_, place == subviews_.end() ? nullptr : (*place)->layer_);
  subviews_.insert(place, keep);
  keep->superview_ = this;
  if (!stays) setNeedsLayout();
  if (before != here) keep->sendDidMoveToWindow(here != nullptr);
}

void UIView::removeFromSuperview() {
  if (!superview_) return;
  const auto keep = weak_from_this().lock();
  const bool wasInWindow = window() != nullptr;
  if (wasInWindow) sendWillLeaveWindow();
  if (!superview_) return;  // a controller took the view away itself
  superview_->setNeedsLayout();
  dropConstraintsOfSuperviews();
  detachFromSuperview();
  if (wasInWindow) sendDidMoveToWindow(false);
}

void UIView::detachFromSuperview() {
  if (!superview_) return;
  auto& siblings = superview_->subviews_;
  superview_ = nullptr;
  layer_->removeFromSuperlayer();
  std::erase_if(siblings, [this](const auto& sibling) { return sibling.get() == this; });
}

void UIView::dropConstraintsOfSuperviews() {
  for (UIView* above = superview_; above; above = above->superview_) {
    std::erase_if(above->constraints_, [this](const auto& constraint) {
      const auto first = constraint->firstItem(), second = constraint->secondItem();
      return (first && containsView(first.get())) || (second && containsView(second.get()));
    });
  }
}

void UIView::sendWillLeaveWindow() {
  const auto keep = weak_from_this().lock();
  if (controller_) controller_->viewMovedToWindow(false);
  const auto views = subviews_;
  for (const auto& view : views) {
    if (view->superview_ == this) view->sendWillLeaveWindow();
  }
}

void UIView::sendDidMoveToWindow(bool inWindow) {
  const auto keep = weak_from_this().lock();
  didMoveToWindow();
  if (inWindow && controller_) controller_->viewMovedToWindow(true);
  const auto views = subviews_;
  for (const auto& view : views) {
    if (view->superview_ == this) view->sendDidMoveToWindow(inWindow);
  }
}

void UIView::addGestureRecognizer(const Strong<UIGestureRecognizer>& recognizer) {
  if (recognizer) recognizers_.push_back(recognizer);
}

Strong<UIView> UIView::hitTest(CGPoint point) {
  if (isHidden() || alpha() < leastVisibleAlpha || !userInteraction_ || !pointInside(point)) return nullptr;
  for (auto view = subviews_.rbegin(); view != subviews_.rend(); ++view) {
    const CGPoint origin = (*view)->frame().origin;
    if (auto hit = (*view)->hitTest({point.x - origin.x, point.y - origin.y})) return hit;
  }
  return std::static_pointer_cast<UIView>(weak_from_this().lock());
}

bool UIView::handleScroll(CGPoint) {
  return false;
}

void UIView::didGainFocus(CGRect frame) {
  for (auto view = superview(); view; view = view->superview()) {
    const auto scrollView = std::dynamic_pointer_cast<UIScrollView>(view);
    if (!scrollView) continue;
    scrollView->layoutIfNeeded();
    const CGPoint inWindow = convertPointToWindow(frame.origin);
    frame.origin = scrollView->contentView()->convertPointFromWindow(inWindow);
    scrollView->scrollRectToVisible_animated(frame, false);
    return;
  }
}

bool UIView::endEditing(bool) {
  const auto responder = UIResponder::firstResponder();
  const auto view = std::dynamic_pointer_cast<UIView>(responder);
  return view && containsView(view.get()) && responder->resignFirstResponder();
}

UIResponder* UIView::nextResponder() const {
  if (controller_) return controller_;
  return superview_;
}

void UIView::animateWithDuration_animations(double duration, const std::function<void()>& animations) {
  CAAnimator::shared().animate(duration, animations, nullptr);
}

void UIView::animateWithDuration_animations_completion(double duration, const std::function<void()>& animations,
                                                       std::function<void(bool)> completion) {
  CAAnimator::shared().animate(duration, animations, std::move(completion));
}
