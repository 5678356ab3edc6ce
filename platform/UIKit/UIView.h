#pragma once

#include "platform/CoreGraphics/CGGeometry.h"
#include "platform/QuartzCore/CALayer.h"
#include "platform/UIKit/NSLayoutConstraint.h"
#include "platform/UIKit/UIAccessibility.h"
#include "platform/UIKit/UIColor.h"
#include "platform/UIKit/UIGeometry.h"
#include "platform/UIKit/UIResponder.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

class UIGestureRecognizer;
class UIViewController;
class UIWindow;

/// A rectangle on screen that shows something and may take touches. Main queue only. Made with `std::make_shared`.
class UIView : public UIResponder {
  ZV_OBJECT(UIView)
 public:
  UIView();
  ~UIView() override;

  // Geometry, in points.
  CGRect frame() const { return layer_->frame(); }  ///< in the superview's coordinates
  void setFrame(CGRect frame);                      ///< resizes subviews by their autoresizing masks
  CGRect bounds() const { return layer_->bounds(); }
  CGPoint center() const;  ///< of the frame
  void setCenter(CGPoint center);
  CGPoint convertPointToWindow(CGPoint point) const;
  CGPoint convertPointFromWindow(CGPoint point) const;
  void setAutoresizingMask(UIViewAutoresizing mask) { autoresizingMask_ = mask; }
  UIViewAutoresizing autoresizingMask() const { return autoresizingMask_; }
  void setTranslatesAutoresizingMaskIntoConstraints(bool translates) { translatesMask_ = translates; }
  bool translatesAutoresizingMaskIntoConstraints() const { return translatesMask_; }
  /// The size that `sizeToFit` gives; by default the present one.
  virtual CGSize sizeThatFits() const { return bounds().size; }
  void sizeToFit();

  // Looks.
  float alpha() const { return layer_->opacity(); }
  void setAlpha(float alpha) { layer_->setOpacity(alpha); }
  bool isHidden() const { return layer_->isHidden(); }
  void setHidden(bool hidden) { layer_->setHidden(hidden); }
  void setBackgroundColor(const UIColor& color) { layer_->setBackgroundColor(color); }
  const Strong<CALayer>& layer() const { return layer_; }
  virtual const char* visualKind() const { return "view"; }

  // The tree.
  const std::vector<Strong<UIView>>& subviews() const { return subviews_; }
  Strong<UIView> superview() const;
  void addSubview(const Strong<UIView>& view);  ///< to the front; moved there when it is a subview already
  void insertSubview_belowSubview(const Strong<UIView>& view, const Strong<UIView>& sibling);
  /// Also drops every constraint of the superviews that refers to this view.
  void removeFromSuperview();
  /// The window that the view is in, however deep; null when it is in none.
  UIWindow* window() const;
  /// Whether `view` is this view or lies in it, however deep.
  bool containsView(const UIView* view) const;

  // Layout. Constraints place views that don't translate their autoresizing mask; they may refer to siblings and
  // superviews, and are carried out, for the subviews, in each layout pass of the view that holds them.
  void addConstraint(const Strong<NSLayoutConstraint>& constraint);
  void removeConstraint(const Strong<NSLayoutConstraint>& constraint);
  const std::vector<Strong<NSLayoutConstraint>>& constraints() const { return constraints_; }
  void setNeedsLayout();
  void layoutIfNeeded();  ///< this view and all below it
  virtual void layoutSubviews() {}

  // Input.
  void setUserInteractionEnabled(bool enabled) { userInteraction_ = enabled; }
  bool isUserInteractionEnabled() const { return userInteraction_; }
  void addGestureRecognizer(const Strong<UIGestureRecognizer>& recognizer);
  const std::vector<Strong<UIGestureRecognizer>>& gestureRecognizers() const { return recognizers_; }
  /// NO keeps touches in this view from reaching gesture recognizers of views behind and around it.
  void setDeliversTouchesForGesturesToSuperview(bool delivers) { deliversTouches_ = delivers; }
  bool deliversTouchesForGesturesToSuperview() const { return deliversTouches_; }
  /// The deepest view at `point` (own coordinates) that takes touches; null when none does. Hidden views and those
  /// with an alpha below 0.01 take none.
  virtual Strong<UIView> hitTest(CGPoint point);
  virtual bool pointInside(CGPoint point) const { return bounds().contains(point); }
  /// A touch that began in this view, in all its phases.
  virtual void handleTouch(const UITouch& touch) { (void)touch; }
  /// The pointer moved over this view without a button (nothing when it left).
  virtual void handleHover(std::optional<CGPoint> point) { (void)point; }
  /// A wheel or a touchpad moves over this view by so many points, what is shown going up and to the left. Says whether
  /// that moved anything; if not, the superview is asked.
  virtual bool handleScroll(CGPoint delta);
  /// The keyboard's focus has come to an element of this view with this frame. The base class scrolls it into sight.
  virtual void didGainFocus(CGRect frame);
  /// Ends the typing in this view or in anything in it. Says whether there was any.
  bool endEditing(bool force);
  UIResponder* nextResponder() const override;

  // Accessibility.
  void setAccessibilityLabel(std::string label) { accessibilityLabel_ = std::move(label); }
  const std::string& accessibilityLabel() const { return accessibilityLabel_; }
  /// Whether this view and all in it are out of a person's reach, although they may be seen and touched.
  void setAccessibilityElementsHidden(bool hidden) { accessibilityHidden_ = hidden; }
  bool accessibilityElementsHidden() const { return accessibilityHidden_; }
  /// What a person can reach in this view itself (not its subviews), in reading order.
  virtual std::vector<UIAccessibilityElement> accessibilityElements() { return {}; }

  /// Changes made by `animations` take `duration` seconds. Completion: see CAAnimator.
  static void animateWithDuration_animations(double duration, const std::function<void()>& animations);
  static void animateWithDuration_animations_completion(double duration, const std::function<void()>& animations,
                                                        std::function<void(bool)> completion);

  /// Marks a view that shapes a backdrop (see UIBackdropView).
  void _setBackdropMaskViewFlags(int flags) { backdropMaskFlags_ = flags; }
  int _backdropMaskViewFlags() const { return backdropMaskFlags_; }

  // For UIViewController.
  void setViewController(UIViewController* controller) { controller_ = controller; }
  UIViewController* viewController() const { return controller_; }

 protected:
  void setNeedsDisplay() { layer_->setNeedsDisplay(); }
  virtual void didMoveToWindow() {}

 private:
  void resizeSubviews(CGSize oldSize);
  void applyConstraints();
  void layoutPass();
  bool layoutTree();
  /// Asks the superviews whose constraints refer to this view for a layout.
  void frameDidChange();
  void insertSubview(const Strong<UIView>& view, const UIView* sibling);
  void detachFromSuperview();
  void dropConstraintsOfSuperviews();
  void sendWillLeaveWindow();
  void sendDidMoveToWindow(bool inWindow);

  Strong<CALayer> layer_;
  std::vector<Strong<UIView>> subviews_;
  UIView* superview_ = nullptr;  ///< cleared when the superview goes, so that views may be put together in constructors
  std::vector<Strong<NSLayoutConstraint>> constraints_;
  std::vector<Strong<UIGestureRecognizer>> recognizers_;
  UIViewController* controller_ = nullptr;
  std::string accessibilityLabel_;
  UIViewAutoresizing autoresizingMask_ = UIViewAutoresizingNone;
  bool translatesMask_ = true;
  bool userInteraction_ = true;
  bool deliversTouches_ = true;
  bool accessibilityHidden_ = false;
  bool needsLayout_ = true;
  bool placingSubviews_ = false;
  int backdropMaskFlags_ = 0;
};
