#pragma once

#include "platform/Foundation/NSObject.h"
#include "platform/UIKit/UIView.h"

#include <functional>
#include <string>

class UIPresentationContainerView;
class UIViewController;

/// How a view controller is shown when it is presented. In a window that is less than 600 points wide, a form sheet
/// covers the window like full screen.
enum class UIModalPresentationStyle { FullScreen = 0, FormSheet = 2, OverFullScreen = 5, Popover = 7 };

/// Brings one presented view controller on screen, above all that is in the window, and off it again. It lays the
/// presented view out whenever the window or the view's content changes its size, dims what is behind, and decides what
/// a touch beside the view means. Main queue only.
class UIPresentationController : public NSObject {
 public:
  explicit UIPresentationController(const Strong<UIViewController>& presented);
  ~UIPresentationController() override;

  Strong<UIViewController> presentedViewController() const { return presented_.lock(); }
  Strong<UIViewController> presentingViewController() const { return presenting_.lock(); }
  /// Covers the window while the presented view is on screen; else null.
  const Strong<UIPresentationContainerView>& containerView() const { return container_; }
  /// Lays everything out anew in the next layout pass: what is presented has another size, or its place has moved.
  void containerViewNeedsLayout();

  // For UIViewController. Both animations take a quarter of a second; `completion` runs after them.
  void present(UIWindow& window, const Strong<UIViewController>& presenting, bool animated,
               std::function<void()> completion);
  /// Takes the presented view away. Input goes past it from the first moment of the animation on.
  void dismiss(bool animated, std::function<void()> completion);
  bool isBeingDismissed() const { return isBeingDismissed_; }

 protected:
  friend class UIPresentationContainerView;

  /// The place of the presented view in a container of this size. The base class: the whole container, or for a form
  /// sheet a rectangle in its middle.
  virtual CGRect frameOfPresentedViewInContainerView(CGSize container);
  /// Where the presented view is before it comes in and after it has gone; by default below the container's bottom.
  virtual CGRect frameBeforePresentation(CGSize container);
  /// Whether the presented view fades in place instead of moving in.
  virtual bool fades() const { return false; }
  /// How dark what is behind becomes, 0 to 1.
  virtual float dimming(CGSize container);
  /// Whether a touch beside the presented view closes it.
  virtual bool dismissesByTouchOutside() const { return false; }
  /// What stands around the presented view, for a popover; by default nothing (null). Laid out by
  /// `layoutDecoration`.
  virtual Strong<UIView> makeDecoration() { return nullptr; }
  virtual void layoutDecoration(UIView& decoration, CGRect presentedFrame);
  /// The container is on screen, or is about to go.
  virtual void containerDidAppear() {}
  virtual void containerWillDisappear() {}

 private:
  bool isFormSheet() const;
  void layout();

  Weak<UIViewController> presented_, presenting_;
  Strong<UIPresentationContainerView> container_;
  bool isShown_ = false;
  bool isBeingDismissed_ = false;
  // What had the keyboard before.
  Weak<UIView> focusedBefore_;
  std::string focusLabelBefore_;
  Weak<UIResponder> firstResponderBefore_;
};
