#pragma once

#include "platform/UIKit/UINavigationBar.h"
#include "platform/UIKit/UIViewController.h"

#include <vector>

/// Shows a view controller below a bar with its title and buttons (see UINavigationItem). Main queue only.
class UINavigationController : public UIViewController {
  ZV_OBJECT(UINavigationController)
 public:
  static Strong<UINavigationController> initWithRootViewController(const Strong<UIViewController>& root);

  /// From the root to the one on top; never null.
  const std::vector<Strong<UIViewController>>& viewControllers() const { return childViewControllers(); }
  Strong<UIViewController> topViewController() const;
  const Strong<UINavigationBar>& navigationBar() const { return bar_; }

  void loadView() override;

 private:
  Strong<UINavigationBar> bar_;
};
