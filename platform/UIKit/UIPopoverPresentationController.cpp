#include "platform/UIKit/UIPopoverPresentationController.h"

#include "platform/UIKit/UIBarButtonItem.h"
#include "platform/UIKit/UIPopoverBackgroundView.h"
#include "platform/UIKit/UIPresentationContainerView.h"
#include "platform/UIKit/UIViewController.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr CGFloat windowMargin = 8;  // between the bubble and the window's edges
/// How far into a bar item the arrow reaches: a bar is higher than what it shows.
constexpr CGFloat anchorInset = 10;
constexpr float behindDimming = 0.15f;
const std::string framePath = "frame";

}  // namespace

void UIPopoverPresentationController::setBarButtonItem(const Strong<UIBarButtonItem>& item) {
  item_ = item;
  containerViewNeedsLayout();
}

void UIPopoverPresentationController::containerDidAppear() {
  if (const auto item = item_.lock()) item->addObserver_forKeyPath(shared_from_this(), framePath);
}

void UIPopoverPresentationController::containerWillDisappear() {
  if (const auto item = item_.lock()) item->removeObserver_forKeyPath(this, framePath);
}

void UIPopoverPresentationController::observeValueForKeyPath_ofObject_change_context(std::string_view /*keyPath*/,
                                                                                     const Strong<NSObject>& /*object*/,
                                                                                     const void* /*change*/,
                                                                                     void* /*context*/) {
  containerViewNeedsLayout();
}

float UIPopoverPresentationController::dimming(CGSize /*container*/) {
  return behindDimming;
}

std::optional<CGRect> UIPopoverPresentationController::anchor() {
  const auto item = item_.lock();
  const UIWindow* window = containerView() ? containerView()->window() : nullptr;
  if (!item || !window) return std::nullopt;
  auto frame = item->frameInWindow(window);
  if (frame && frame->size.height > 2 * anchorInset) {
    frame->origin.y += anchorInset;
    frame->size.height -= 2 * anchorInset;
  }
  return frame;
}

UIPopoverPresentationController::Place UIPopoverPresentationController::place(CGSize container) {
  const auto presented = presentedViewController();
  const auto anchored = anchor();
  Place place;
  CGSize room{std::max(container.width - 2 * windowMargin, 0.0f), std::max(container.height - 2 * windowMargin, 0.0f)};
  if (!anchored) {
    const CGSize size = presented->preferredContentSizeThatFits(room);
    place.frame = {{std::round((container.width - size.width) / 2), std::round((container.height - size.height) / 2)},
                   size};
    return place;
  }
  const CGFloat above = anchored->origin.y, below = container.height - anchored->maxY();
  place.arrowPointsUp = below >= above;
  constexpr CGFloat arrow = UIPopoverBackgroundView::arrowHeight;
  room.height = std::max((place.arrowPointsUp ? below : above) - arrow - windowMargin, 0.0f);
  const CGSize size = presented->preferredContentSizeThatFits(room);
  const CGFloat middle = anchored->origin.x + anchored->size.width / 2;
  const CGFloat mostLeft = std::max(container.width - windowMargin - size.width, windowMargin);
  place.frame.origin.x = std::round(std::clamp(middle - size.width / 2, windowMargin, mostLeft));
  place.frame.origin.y = place.arrowPointsUp ? anchored->maxY() + arrow : above - arrow - size.height;
  place.frame.size = size;
  // The arrow grows out of a straight side, not out of a rounded corner.
  constexpr CGFloat reach = UIPopoverBackgroundView::cornerRadius + UIPopoverBackgroundView::arrowWidth / 2;
  const CGFloat left = place.frame.origin.x + reach, right = place.frame.maxX() - reach;
  place.tip = CGPoint{left <= right ? std::clamp(middle, left, right) : (left + right) / 2,
                      place.arrowPointsUp ? anchored->maxY() : above};
  return place;
}

CGRect UIPopoverPresentationController::frameOfPresentedViewInContainerView(CGSize container) {
  return place(container).frame;
}

Strong<UIView> UIPopoverPresentationController::makeDecoration() {
  return std::make_shared<UIPopoverBackgroundView>();
}

void UIPopoverPresentationController::layoutDecoration(UIView& decoration, CGRect presentedFrame) {
  auto& bubble = static_cast<UIPopoverBackgroundView&>(decoration);
  const Place now = place(containerView()->bounds().size);
  using Arrow = UIPopoverBackgroundView::Arrow;
  bubble.setFrame(presentedFrame);
  bubble.setArrow(!now.tip            ? Arrow::None
                  : now.arrowPointsUp ? Arrow::Up
                                      : Arrow::Down,
                  now.tip ? now.tip->x - presentedFrame.origin.x : 0);
}
