#pragma once

#include "platform/UIKit/UIView.h"
#include "platform/UIKit/UIViewController.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

/// The root of what is on screen, and where input comes in. Main queue only.
///
/// Keyboard: Tab and Shift+Tab move the focus through the accessible elements in reading order, arrows adjust a focused
/// slider, Return and Space activate a focused element. Without a focus, keys go to the bar items on screen by their
/// meaning: Space plays or pauses, Escape cancels, Return is Done, Control+S saves; Control+Z is a shake.
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

  void sendTouch(const UITouch& touch);
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
  /// Where to draw the focus ring; nothing when no element has the keyboard's focus.
  std::optional<CGRect> focusRing();
  /// The label of the focused element, or empty.
  const std::string& focusedLabel() const { return focusLabel_; }

  const char* visualKind() const override { return "window"; }

 private:
  bool activateBarItem(std::initializer_list<const char*> labels);
  Strong<UIViewController> root_;
  struct Tracking;
  std::map<int, std::shared_ptr<Tracking>> touches_;
  std::string focusLabel_;
  Weak<UIView> hovered_;
};
