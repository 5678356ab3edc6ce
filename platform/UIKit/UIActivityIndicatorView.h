#pragma once

#include "platform/UIKit/UIView.h"

enum class UIActivityIndicatorViewStyle { WhiteLarge = 0, White = 1, Gray = 2 };

/// A wheel that turns while something is under way: 37 points for WhiteLarge, 20 for the others. It shows nothing while
/// it stands still, and costs nothing then, nor when it is hidden or in no window. Takes no touches. Main queue only.
class UIActivityIndicatorView : public UIView {
  ZV_OBJECT(UIActivityIndicatorView)
 public:
  /// The size of the style, at the origin; standing still.
  static Strong<UIActivityIndicatorView> initWithActivityIndicatorStyle(UIActivityIndicatorViewStyle style);
  UIActivityIndicatorView();

  UIActivityIndicatorViewStyle activityIndicatorViewStyle() const { return style_; }
  void startAnimating() { setAnimating(true); }
  void stopAnimating() { setAnimating(false); }
  bool isAnimating() const { return animating_; }

  CGSize sizeThatFits() const override;
  /// "In progress", while it turns.
  std::vector<UIAccessibilityElement> accessibilityElements() override;
  const char* visualKind() const override { return "activityIndicator"; }

 private:
  void setAnimating(bool animating);

  UIActivityIndicatorViewStyle style_ = UIActivityIndicatorViewStyle::White;
  bool animating_ = false;
};
