#pragma once

#include "platform/UIKit/UIPresentationController.h"
#include "platform/UIKit/UIResponder.h"
#include "platform/UIKit/UIView.h"

#include <functional>
#include <vector>

class NSExtensionContext;
class UINavigationItem;
class UIPopoverPresentationController;
struct UIKey;

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
///
/// Another controller can be presented above it: from then on touches, the keyboard, what can be reached and shakes are
/// the presented one's alone, until it is dismissed. The presenting one stays on screen and is not told to disappear.
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

  // Presentation. The controller that presents is the topmost ancestor of the one that is asked; both know of it.

  /// Shows `controller` above this controller, in the way of its presentation style; `completion` (may be null) runs
  /// when it is in place. Does nothing but write a trace when this controller is not on screen or presents already, or
  /// when `controller` is on screen.
  void presentViewController_animated_completion(const Strong<UIViewController>& controller, bool animated,
                                                 std::function<void()> completion);
  /// Takes away what this controller presents, and what that presents in turn; when it presents nothing, it is itself
  /// taken away. `completion` (may be null) runs when it is off the screen, at once when there is nothing to do.
  void dismissViewControllerAnimated_completion(bool animated, std::function<void()> completion);
  Strong<UIViewController> presentedViewController() const;
  Strong<UIViewController> presentingViewController() const;
  bool isBeingDismissed() const;
  UIModalPresentationStyle modalPresentationStyle() const { return modalPresentationStyle_; }
  void setModalPresentationStyle(UIModalPresentationStyle style) { modalPresentationStyle_ = style; }
  /// Of this controller or an ancestor, while it is presented; else null.
  Strong<UIPresentationController> presentationController() const;
  /// With the popover style: where the popover is to point. Made at the first call; null with any other style.
  Strong<UIPopoverPresentationController> popoverPresentationController();
  /// How large the view would like to be in a popover, in points, within `room`. By default all of the room, at most
  /// 320 by 480 points.
  virtual CGSize preferredContentSizeThatFits(CGSize room);
  /// A key press while this controller is presented and in front, and no element in it has the focus and a use for the
  /// key (Escape comes here even so). Says whether it meant something. The base class has no use for any; then Escape
  /// presses Cancel.
  virtual bool keyPressed(const UIKey& key);
  /// A touch has ended beside the presented view, where the presentation lets that close it. The base class dismisses
  /// the controller.
  virtual void cancelPresentation();
  /// The person closes the window while this controller is on screen. NO keeps it open, for a question first; to call
  /// `close` then closes it after all. The base class asks the children.
  virtual bool windowShouldClose(const std::function<void()>& close);
  /// Whether `responder` is this controller, its view, or anything in them or in a child.
  bool isInResponderChainOf(const Strong<UIResponder>& responder) const;

  /// Set by the machinery that starts the extension on its principal view controller.
  const Strong<NSExtensionContext>& extensionContext() const { return extensionContext_; }
  void setExtensionContext(const Strong<NSExtensionContext>& context) { extensionContext_ = context; }

  UIResponder* nextResponder() const override;

  // For UIView and UIWindow: appearance follows the view into and out of a window, children included.
  void viewMovedToWindow(bool inWindow);
  // For UIPresentationController: the presented view is off the screen.
  void presentationDidEnd();
  // For UIWindow: the window goes, or shows something else; a controller that still works on something ends it.
  virtual void windowDidClose() {}

 protected:
  /// Makes what brings this controller on screen, for one presentation.
  virtual Strong<UIPresentationController> makePresentationController();

 private:
  Strong<UIViewController> topmostAncestor() const;

  Strong<UIView> view_;
  std::vector<Strong<UIViewController>> children_;
  Weak<UIViewController> parent_;
  Strong<NSExtensionContext> extensionContext_;
  Strong<UINavigationItem> navigationItem_;
  bool appeared_ = false;
  UIModalPresentationStyle modalPresentationStyle_ = UIModalPresentationStyle::FullScreen;
  Strong<UIViewController> presented_;
  Strong<UIPresentationController> presentation_;  ///< that brought this controller on screen
  Strong<UIPopoverPresentationController> popover_;
};
