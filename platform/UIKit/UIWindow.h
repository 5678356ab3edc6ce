#pragma once

#include "platform/UIKit/UIView.h"
#include "platform/UIKit/UIViewController.h"

#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The root of what is on screen, and where input comes in. Main queue only.
///
/// Keyboard: Tab and Shift+Tab move the focus through the accessible elements in reading order, arrows adjust a focused
/// slider by a frame (with Shift: by a second) and Home and End take it to its ends, Return and Space activate a
/// focused element. Without a focus, keys go to the bar items by their meaning, whether the bars are faded out or not:
/// Space plays or pauses, Return is Done, Control+S saves, and the arrows move the element named "Playhead". Escape
/// always cancels, and Control+Z is a shake. A press of the mouse or a finger takes the focus away.
///
/// While a controller is presented, the keyboard, shakes and what can be reached are its own (see UIViewController).
class UIWindow : public UIView {
  ZV_OBJECT(UIWindow)
 public:
  UIWindow();
  ~UIWindow() override;

  const Strong<UIViewController>& rootViewController() const { return root_; }
  /// Shows the controller's view in the whole window; null empties the window (the old one disappears).
  void setRootViewController(const Strong<UIViewController>& controller);

  /// Gives the window a new size: announces it to the controllers, resizes the views and runs the alongside blocks,
  /// all within an animation of `duration` seconds.
  void resize(CGSize size, double duration);

  /// A touch goes, in all its phases, to the view that it began in and to the gesture recognizers there and in the
  /// superviews, up to a view that keeps touches to itself (see setDeliversTouchesForGesturesToSuperview), a control or
  /// a toolbar. A view that leaves the window meanwhile gets Cancelled.
  void sendTouch(const UITouch& touch);
  /// Ends every touch under way as Cancelled, for when the window loses the person's attention.
  void cancelTouches();
  void sendHover(std::optional<CGPoint> location);
  /// Whether the key meant something here.
  bool sendKey(const UIKey& key);
  /// Delivers a shake to the first responder.
  void sendShake();

  /// One reachable element with the view that reports it; frame in window coordinates.
  struct Reachable {
    Strong<UIView> view;
    UIAccessibilityElement element;
  };
  /// Everything reachable now, top to bottom, left to right; nothing that is hidden or (nearly) transparent.
  std::vector<Reachable> reachableElements();
  /// The line around the element with the keyboard's focus: its outer edge, in window coordinates.
  struct FocusRing {
    CGRect frame;
    CGFloat radius = 0;
  };
  /// Nothing when no element has the keyboard's focus.
  std::optional<FocusRing> focusRing();
  /// The label of the focused element, or empty.
  const std::string& focusedLabel() const { return focusLabel_; }

  /// The frontmost presented controller, or null.
  Strong<UIViewController> frontmostPresentedViewController() const;
  /// Gives the keyboard's focus to the element that `view` reports with this label.
  void setFocus(const Strong<UIView>& view, const std::string& label);
  /// The view whose element has the keyboard's focus, or null.
  Strong<UIView> focusedView() const { return focusLabel_.empty() ? nullptr : focusedView_.lock(); }

  /// Keeps a controller that works on something although it has left the screen. When the window closes before it is
  /// taken off the list again, it gets `windowDidClose`.
  void addBackgroundController(const Strong<UIViewController>& controller);
  void removeBackgroundController(const UIViewController* controller);

  // For UIPresentationController.
  void pushPresentation(const Strong<UIPresentationController>& presentation);
  void removePresentation(const UIPresentationController& presentation);
  std::pair<Weak<UIView>, std::string> takeFocus();
  void giveFocus(const Weak<UIView>& view, const std::string& label);

  const char* visualKind() const override { return "window"; }

 private:
  struct Tracking;
  void cancelTouch(const std::shared_ptr<Tracking>& tracking);
  bool activateBarItem(std::initializer_list<const char*> labels);
  bool activateElement(const std::string& label);
  bool adjustElement(const UIAccessibilityElement& element, const UIKey& key);
  bool moveFocus(bool backwards);
  std::optional<Reachable> focusedElement();
  bool sendKeyToFocus(const UIKey& key);
  bool sendKeyByMeaning(const UIKey& key);
  bool sendKeyToPresented(UIViewController& controller, const UIKey& key);
  /// What the keyboard and a screen reader can get at: the frontmost presented view, or all.
  Strong<UIView> inputRoot();

  Strong<UIViewController> root_;
  std::vector<Strong<UIPresentationController>> presentations_;  ///< from back to front
  std::vector<Strong<UIViewController>> backgroundControllers_;
  std::map<int, std::shared_ptr<Tracking>> touches_;
  std::string focusLabel_;
  Weak<UIView> focusedView_;
  bool focusIsAlone_ = false;  ///< no bar's, and the only element of its view when it was last seen
  Weak<UIView> hovered_;
};
