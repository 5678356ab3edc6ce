#include "platform/UIKit/UIWindow.h"

#include "platform/QuartzCore/CAAnimator.h"
#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UIGestureRecognizer.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIToolbar.h"

#include <utility>

ZV_REGISTER_CLASS(UIWindow, "UIWindow", UIView, {})

/// One touch under way and who follows it. The view is not owned: it may be the window itself.
struct UIWindow::Tracking {
  Weak<UIView> view;
  std::vector<Strong<UIGestureRecognizer>> recognizers;
  UITouch last;

  void send(const UITouch& touch) {
    last = touch;
    const auto target = view.lock();
    for (const auto& recognizer : recognizers) recognizer->handleTouch(touch);
    if (target) target->handleTouch(touch);
  }
};

namespace {

/// The recognizers that hear of touches in `view`: its own and those around it, as far as the views let touches pass.
std::vector<Strong<UIGestureRecognizer>> recognizersAround(const Strong<UIView>& view) {
  std::vector<Strong<UIGestureRecognizer>> recognizers;
  for (Strong<UIView> at = view; at; at = at->superview()) {
    const auto& own = at->gestureRecognizers();
    recognizers.insert(recognizers.end(), own.begin(), own.end());
    const bool takesTouches = dynamic_cast<UIControl*>(at.get()) || dynamic_cast<UIToolbar*>(at.get());
    if (takesTouches || !at->deliversTouchesForGesturesToSuperview()) break;
  }
  return recognizers;
}

}  // namespace

UIWindow::UIWindow() {
  setFrame({{0, 0}, UIScreen::mainScreen().bounds().size});
}

UIWindow::~UIWindow() {
  cancelTouches();
  setRootViewController(nullptr);
  while (!subviews().empty()) subviews().back()->removeFromSuperview();
}

void UIWindow::setRootViewController(const Strong<UIViewController>& controller) {
  if (controller == root_) return;
  cancelTouches();
  while (!presentations_.empty()) {
    const auto presenting = presentations_.back()->presentingViewController();
    if (presenting && presenting->presentedViewController()) {
      presenting->dismissViewControllerAnimated_completion(false, nullptr);
    } else {
      presentations_.back()->dismiss(false, nullptr);
    }
  }
  const auto working = std::exchange(backgroundControllers_, {});
  for (const auto& each : working) each->windowDidClose();
  const auto old = std::exchange(root_, controller);
  if (old && old->isViewLoaded()) old->view()->removeFromSuperview();
  if (!root_) return;
  const Strong<UIView> view = root_->view();
  view->setFrame(bounds());
  addSubview(view);
}

void UIWindow::resize(CGSize size, double duration) {
  if (size == bounds().size) return;
  const auto keep = weak_from_this().lock();
  const auto coordinator = std::make_shared<UIViewControllerTransitionCoordinator>(duration);
  if (const auto root = root_) root->viewWillTransitionToSize_withTransitionCoordinator(size, *coordinator);
  const auto presentations = presentations_;
  for (const auto& presentation : presentations) {
    if (const auto presented = presentation->presentedViewController()) {
      presented->viewWillTransitionToSize_withTransitionCoordinator(size, *coordinator);
    }
  }
  CAAnimator::shared().animate(
      duration,
      [&] {
        setFrame({{0, 0}, size});
        if (root_) root_->view()->setFrame(bounds());
        coordinator->runAlongside();
        layoutIfNeeded();
      },
      [coordinator](bool) { coordinator->runCompletion(); });
}

void UIWindow::sendTouch(const UITouch& touch) {
  const auto keep = weak_from_this().lock();
  if (touch.phase == UITouchPhase::Began) {
    if (const auto stale = touches_.extract(touch.identifier)) cancelTouch(stale.mapped());
    if (!focusLabel_.empty()) setNeedsDisplay();
    focusLabel_.clear();
    focusedView_.reset();
    layoutIfNeeded();
    const auto hit = hitTest(touch.locationInWindow);
    if (!hit) return;
    const auto tracking = std::make_shared<Tracking>(Tracking{hit, recognizersAround(hit), touch});
    touches_[touch.identifier] = tracking;
    tracking->send(touch);
    return;
  }
  const auto found = touches_.find(touch.identifier);
  if (found == touches_.end()) return;
  const auto tracking = found->second;
  const auto view = tracking->view.lock();
  const bool gone = !view || view->window() != this;
  if (gone || touch.phase != UITouchPhase::Moved) touches_.erase(found);
  if (gone) {
    cancelTouch(tracking);
  } else {
    tracking->send(touch);
  }
}

void UIWindow::cancelTouch(const std::shared_ptr<Tracking>& tracking) {
  UITouch touch = tracking->last;
  touch.phase = UITouchPhase::Cancelled;
  tracking->send(touch);
}

void UIWindow::cancelTouches() {
  const auto touches = std::exchange(touches_, {});
  for (const auto& [identifier, tracking] : touches) cancelTouch(tracking);
}

void UIWindow::sendHover(std::optional<CGPoint> location) {
  const auto hit = location ? hitTest(*location) : nullptr;
  const auto old = hovered_.lock();
  hovered_ = hit;
  if (old && old != hit) old->handleHover(std::nullopt);
  if (hit) hit->handleHover(hit->convertPointFromWindow(*location));
}

void UIWindow::sendShake() {
  const auto responder = UIResponder::firstResponder();
  const auto presented = frontmostPresentedViewController();
  if (presented && !presented->isInResponderChainOf(responder)) return;
  if (responder) responder->motionEnded_withEvent(UIEventSubtype::MotionShake, UIEvent(UIEventSubtype::MotionShake));
}

Strong<UIViewController> UIWindow::frontmostPresentedViewController() const {
  return presentations_.empty() ? nullptr : presentations_.back()->presentedViewController();
}

void UIWindow::pushPresentation(const Strong<UIPresentationController>& presentation) {
  presentations_.push_back(presentation);
}

void UIWindow::removePresentation(const UIPresentationController& presentation) {
  std::erase_if(presentations_, [&](const auto& each) { return each.get() == &presentation; });
}

void UIWindow::addBackgroundController(const Strong<UIViewController>& controller) {
  backgroundControllers_.push_back(controller);
}

void UIWindow::removeBackgroundController(const UIViewController* controller) {
  std::erase_if(backgroundControllers_, [&](const auto& each) { return each.get() == controller; });
}
