#include "platform/UIKit/UIPresentationController.h"

#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIPresentationContainerView.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace {

constexpr double transitionDuration = 0.25;  // seconds
constexpr CGFloat compactWidth = 600;        // a window narrower than this has no room for a form sheet
constexpr CGSize formSheetSize{540, 620};
constexpr CGFloat leastMargin = 20;
constexpr CGFloat formSheetCornerRadius = 12;
constexpr float formSheetDimming = 0.4f;

}  // namespace

UIPresentationController::UIPresentationController(const Strong<UIViewController>& presented) : presented_(presented) {}

UIPresentationController::~UIPresentationController() = default;

void UIPresentationController::containerViewNeedsLayout() {
  if (container_) container_->setNeedsLayout();
}

bool UIPresentationController::isFormSheet() const {
  const auto presented = presented_.lock();
  return presented && presented->modalPresentationStyle() == UIModalPresentationStyle::FormSheet;
}

CGRect UIPresentationController::frameOfPresentedViewInContainerView(CGSize container) {
  if (!isFormSheet() || container.width < compactWidth) return {{0, 0}, container};
  const CGFloat width = std::min(formSheetSize.width, container.width - 2 * leastMargin);
  const CGFloat height = std::min(formSheetSize.height, std::max(container.height - 2 * leastMargin, 0.0f));
  return CGRectMake((container.width - width) / 2, (container.height - height) / 2, width, height);
}

CGRect UIPresentationController::frameBeforePresentation(CGSize container) {
  CGRect frame = frameOfPresentedViewInContainerView(container);
  frame.origin.y = container.height;
  return frame;
}

float UIPresentationController::dimming(CGSize container) {
  return frameOfPresentedViewInContainerView(container).size == container ? 0 : formSheetDimming;
}

void UIPresentationController::layoutDecoration(UIView& decoration, CGRect presentedFrame) {
  decoration.setFrame(presentedFrame);
}

void UIPresentationController::layout() {
  const auto presented = presented_.lock();
  if (!presented || !container_) return;
  const CGSize size = container_->bounds().size;
  container_->dimmingView()->setFrame({{0, 0}, size});
  container_->dimmingView()->setAlpha(isShown_ ? dimming(size) : 0);
  const bool isInPlace = isShown_ || fades();
  const CGRect frame = isInPlace ? frameOfPresentedViewInContainerView(size) : frameBeforePresentation(size);
  const float alpha = isInPlace && !isShown_ ? 0.0f : 1.0f;
  presented->view()->setFrame(frame);
  presented->view()->setAlpha(alpha);
  if (isFormSheet()) {
    const bool coversWindow = frame.size == size;
    presented->view()->layer()->setMasksToBounds(!coversWindow);
    presented->view()->layer()->setCornerRadius(coversWindow ? 0 : formSheetCornerRadius);
  }
  if (const auto& decoration = container_->decoration()) {
    layoutDecoration(*decoration, frame);
    decoration->setAlpha(alpha);
  }
}

void UIPresentationController::present(UIWindow& window, const Strong<UIViewController>& presenting, bool animated,
                                       std::function<void()> completion) {
  const auto keep = std::static_pointer_cast<UIPresentationController>(shared_from_this());
  const auto presented = presented_.lock();
  presenting_ = presenting;
  std::tie(focusedBefore_, focusLabelBefore_) = window.takeFocus();
  firstResponderBefore_ = UIResponder::firstResponder();
  window.cancelTouches();

  container_ = UIPresentationContainerView::create(*this);
  container_->setFrame(window.bounds());
  window.pushPresentation(keep);
  window.addSubview(container_);
  container_->addSubview(presented->view());
  containerDidAppear();
  layout();
  presented->view()->layoutIfNeeded();
  isShown_ = true;
  CAAnimator::shared().animate(
      animated ? transitionDuration : 0, [keep] { keep->layout(); },
      [completion = std::move(completion)](bool) {
        if (completion) completion();
      });
}

void UIPresentationController::dismiss(bool animated, std::function<void()> completion) {
  if (isBeingDismissed_ || !container_) return;
  const auto keep = std::static_pointer_cast<UIPresentationController>(shared_from_this());
  // The view controller stays until its view is off the screen.
  const auto presented = presented_.lock();
  isBeingDismissed_ = true;
  isShown_ = false;
  containerWillDisappear();
  if (UIWindow* window = container_->window()) {
    window->cancelTouches();
    window->removePresentation(*this);
    window->giveFocus(focusedBefore_, focusLabelBefore_);
  }
  presented->viewMovedToWindow(false);
  const auto first = firstResponderBefore_.lock();
  if (first && (!UIResponder::firstResponder() || presented->isInResponderChainOf(UIResponder::firstResponder()))) {
    first->becomeFirstResponder();
  }
  container_->setUserInteractionEnabled(false);
  container_->setAccessibilityElementsHidden(true);
  CAAnimator::shared().animate(
      animated ? transitionDuration : 0, [keep] { keep->layout(); },
      [keep, presented, completion = std::move(completion)](bool) {
        const auto container = std::exchange(keep->container_, nullptr);
        container->detach();
        if (presented->view()->superview() == container) presented->view()->removeFromSuperview();
        container->removeFromSuperview();
        keep->isBeingDismissed_ = false;
        presented->presentationDidEnd();
        if (completion) completion();
      });
}
