#pragma once

#include "platform/UIKit/UIResponder.h"
#include "platform/UIKit/UIView.h"

#include <functional>
#include <vector>

class NSExtensionContext;
class UINavigationItem;

/// Collects what is to happen together with a change of size. Main queue only.
class UIViewControllerTransitionCoordinator {
 public:
  using Block = std::function<void(UIViewControllerTransitionCoordinator& context)>;
  /// `alongside` runs inside the transition's animation, when the views have their new size; `completion` after it.
  void animateAlongsideTransition_completion(Block alongside, Block completion);
  double transitionDuration() const { return duration_; }

  // For the window.
  explicit UIViewControllerTransitionCoordinator(double duration) : duration_(duration) {}
  void runAlongside();
  void runCompletion();

 private:
  double duration_;
  std::vector<Block> alongside_, completion_;
};

/// Looks after one view and its life on screen. Main queue only.
class UIViewController : public UIResponder {
  ZV_OBJECT(UIViewController)
 public:
  UIViewController() = default;
  ~UIViewController() override;

  /// The view; made by `loadView` at the first call, followed by `viewDidLoad`.
  const Strong<UIView>& view();
  bool isViewLoaded() const { return view_ != nullptr; }
  /// Makes a plain view as large as the main screen that follows its superview's size.
  virtual void loadView();
  void setView(const Strong<UIView>& view);
  virtual void viewDidLoad() {}
  virtual void viewWillAppear(bool animated) { (void)animated; }
  virtual void viewDidAppear(bool animated) { (void)animated; }
  virtual void viewWillDisappear(bool animated) { (void)animated; }
  virtual void viewDidLayoutSubviews() {}
  /// The base class passes it on to the child view controllers.
  virtual void viewWillTransitionToSize_withTransitionCoordinator(CGSize size,
                                                                  UIViewControllerTransitionCoordinator& coordinator);

  /// What a navigation controller shows of this controller in its bar; made at the first call.
  const Strong<UINavigationItem>& navigationItem();

  void addChildViewController(const Strong<UIViewController>& child);
  void removeFromParentViewController();
  virtual void didMoveToParentViewController(const Strong<UIViewController>& parent) { (void)parent; }
  const std::vector<Strong<UIViewController>>& childViewControllers() const { return children_; }
  Strong<UIViewController> parentViewController() const { return parent_.lock(); }

  /// Set by the machinery that starts the extension on its principal view controller.
  const Strong<NSExtensionContext>& extensionContext() const { return extensionContext_; }
  void setExtensionContext(const Strong<NSExtensionContext>& context) { extensionContext_ = context; }

  UIResponder* nextResponder() const override;

  // For UIView and UIWindow: appearance follows the view into and out of a window, children included.
  void viewMovedToWindow(bool inWindow);

 private:
  Strong<UIView> view_;
  std::vector<Strong<UIViewController>> children_;
  Weak<UIViewController> parent_;
  Strong<NSExtensionContext> extensionContext_;
  Strong<UINavigationItem> navigationItem_;
  bool appeared_ = false;
};
