// One view controller above another.

#include "platform/Foundation/os_trace.h"
#include "platform/UIKit/UIPopoverPresentationController.h"
#include "platform/UIKit/UIViewController.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <utility>

namespace {

constexpr CGSize usualPopoverSize{320, 480};

}  // namespace

Strong<UIViewController> UIViewController::topmostAncestor() const {
  auto self = std::static_pointer_cast<const UIViewController>(weak_from_this().lock());
  auto top = std::const_pointer_cast<UIViewController>(self);
  while (top) {
    const auto parent = top->parent_.lock();
    if (!parent) break;
    top = parent;
  }
  return top;
}

Strong<UIViewController> UIViewController::presentedViewController() const {
  const auto top = topmostAncestor();
  return top ? top->presented_ : nullptr;
}

Strong<UIPresentationController> UIViewController::presentationController() const {
  const auto top = topmostAncestor();
  return top ? top->presentation_ : nullptr;
}

Strong<UIViewController> UIViewController::presentingViewController() const {
  const auto presentation = presentationController();
  return presentation ? presentation->presentingViewController() : nullptr;
}

bool UIViewController::isBeingDismissed() const {
  const auto presentation = presentationController();
  return presentation && presentation->isBeingDismissed();
}

Strong<UIPopoverPresentationController> UIViewController::popoverPresentationController() {
  if (modalPresentationStyle_ != UIModalPresentationStyle::Popover) return nullptr;
  if (!popover_) {
    const auto self = std::static_pointer_cast<UIViewController>(shared_from_this());
    popover_ = std::make_shared<UIPopoverPresentationController>(self);
  }
  return popover_;
}

Strong<UIPresentationController> UIViewController::makePresentationController() {
  if (const auto popover = popoverPresentationController()) return popover;
  return std::make_shared<UIPresentationController>(std::static_pointer_cast<UIViewController>(shared_from_this()));
}

CGSize UIViewController::preferredContentSizeThatFits(CGSize room) {
  return {std::min(room.width, usualPopoverSize.width), std::min(room.height, usualPopoverSize.height)};
}

bool UIViewController::keyPressed(const UIKey& /*key*/) {
  return false;
}

void UIViewController::cancelPresentation() {
  dismissViewControllerAnimated_completion(true, nullptr);
}

bool UIViewController::windowShouldClose(const std::function<void()>& close) {
  const auto children = children_;
  return std::all_of(children.begin(), children.end(),
                     [&](const auto& child) { return child->windowShouldClose(close); });
}

bool UIViewController::isInResponderChainOf(const Strong<UIResponder>& responder) const {
  for (const UIResponder* at = responder.get(); at; at = at->nextResponder()) {
    if (at == this) return true;
  }
  return false;
}

void UIViewController::presentViewController_animated_completion(const Strong<UIViewController>& controller,
                                                                 bool animated, std::function<void()> completion) {
  const auto presenter = topmostAncestor();
  UIWindow* const window = presenter && presenter->isViewLoaded() ? presenter->view()->window() : nullptr;
  if (!controller || !window) {
    os_trace_error("a view controller that is not on screen can't present another");
    return;
  }
  if (presenter->presented_ || controller->presentation_ || controller->view()->window() || isBeingDismissed()) {
    os_trace_error("the view controller presents another already");
    return;
  }
  presenter->presented_ = controller;
  // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): outlives what the appearance of the view may do
  const Strong<UIPresentationController> presentation = controller->makePresentationController();
  controller->presentation_ = presentation;
  presentation->present(*window, presenter, animated, std::move(completion));
}

void UIViewController::dismissViewControllerAnimated_completion(bool animated, std::function<void()> completion) {
  const auto top = topmostAncestor();
  const auto presenter = !top || top->presented_ ? top : top->presentingViewController();
  if (!presenter || !presenter->presented_) {
    if (completion) completion();
    return;
  }
  const auto presented = std::exchange(presenter->presented_, nullptr);
  // From the front to the back; only the last one is seen to go.
  if (presented->presented_) presented->dismissViewControllerAnimated_completion(false, nullptr);
  const auto presentation = presented->presentation_;
  if (presentation) presentation->dismiss(animated, std::move(completion));
}

void UIViewController::presentationDidEnd() {
  presentation_.reset();
  popover_.reset();
}
