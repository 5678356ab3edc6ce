#include "platform/UIKit/UINavigationController.h"

ZV_REGISTER_CLASS(UINavigationController, "UINavigationController", UIViewController, {})

Strong<UINavigationController> UINavigationController::initWithRootViewController(
    const Strong<UIViewController>& root) {
  auto controller = std::make_shared<UINavigationController>();
  controller->bar_ = std::make_shared<UINavigationBar>();
  controller->addChildViewController(root);
  return controller;
}

Strong<UIViewController> UINavigationController::topViewController() const {
  return viewControllers().empty() ? nullptr : viewControllers().back();
}

void UINavigationController::loadView() {
  UIViewController::loadView();
  const Strong<UIView> whole = view();
  whole->setBackgroundColor(UIColor::whiteColor());  // what the bar lets through
  const CGSize size = whole->bounds().size;
  if (!bar_) bar_ = std::make_shared<UINavigationBar>();
  const CGFloat height = bar_->sizeThatFits().height;
  bar_->setFrame(CGRectMake(0, 0, size.width, height));
  bar_->setAutoresizingMask(UIViewAutoresizingFlexibleWidth);
  if (const auto top = topViewController()) {
    top->view()->setFrame(CGRectMake(0, height, size.width, size.height - height));
    top->view()->setAutoresizingMask(UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight);
    whole->addSubview(top->view());
    bar_->setItem(top->navigationItem());
  }
  whole->addSubview(bar_);
}
