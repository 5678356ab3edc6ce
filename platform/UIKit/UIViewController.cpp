#include "platform/UIKit/UIViewController.h"

#include "platform/UIKit/UINavigationItem.h"
#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <utility>

ZV_REGISTER_CLASS(UIViewController, "UIViewController", UIResponder, {})

void UIViewControllerTransitionCoordinator::animateAlongsideTransition_completion(Block alongside, Block completion) {
  if (alongside) alongside_.push_back(std::move(alongside));
  if (completion) completion_.push_back(std::move(completion));
}

void UIViewControllerTransitionCoordinator::runAlongside() {
  const auto blocks = std::exchange(alongside_, {});
  for (const auto& block : blocks) block(*this);
}

void UIViewControllerTransitionCoordinator::runCompletion() {
  const auto blocks = std::exchange(completion_, {});
  for (const auto& block : blocks) block(*this);
}

UIViewController::~UIViewController() {
  if (view_) view_->setViewController(nullptr);
}

const Strong<UIView>& UIViewController::view() {
  if (!view_) {
    loadView();
    if (!view_) setView(std::make_shared<UIView>());
    viewDidLoad();
  }
  return view_;
}

void UIViewController::loadView() {
  const auto view = std::make_shared<UIView>();
  view->setFrame(UIScreen::mainScreen().bounds());
  view->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
  setView(view);
}

void UIViewController::setView(const Strong<UIView>& view) {
  if (view_ == view) return;
  if (view_) view_->setViewController(nullptr);
  view_ = view;
  if (view_) view_->setViewController(this);
}

const Strong<UINavigationItem>& UIViewController::navigationItem() {
  if (!navigationItem_) navigationItem_ = std::make_shared<UINavigationItem>();
  return navigationItem_;
}

void UIViewController::viewWillTransitionToSize_withTransitionCoordinator(
    CGSize size, UIViewControllerTransitionCoordinator& coordinator) {
  const auto children = children_;
  for (const auto& child : children) child->viewWillTransitionToSize_withTransitionCoordinator(size, coordinator);
}

void UIViewController::addChildViewController(const Strong<UIViewController>& child) {
  if (!child || child.get() == this) return;
  // The caller's reference may be the one in the list. NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
  const Strong<UIViewController> keep = child;
  keep->removeFromParentViewController();
  children_.push_back(keep);
  keep->parent_ = std::static_pointer_cast<UIViewController>(weak_from_this().lock());
}

void UIViewController::removeFromParentViewController() {
  const auto parent = parent_.lock();
  parent_.reset();
  if (!parent) return;
  const auto keep = weak_from_this().lock();
  std::erase_if(parent->children_, [this](const auto& child) { return child.get() == this; });
}

UIResponder* UIViewController::nextResponder() const {
  if (view_) {
    if (const auto superview = view_->superview()) return superview.get();
  }
  return parent_.lock().get();
}

void UIViewController::viewMovedToWindow(bool inWindow) {
  if (inWindow == appeared_) return;
  const auto keep = weak_from_this().lock();
  appeared_ = inWindow;
  if (inWindow) {
    viewWillAppear(false);
    viewDidAppear(false);
  } else {
    viewWillDisappear(false);
  }
}
