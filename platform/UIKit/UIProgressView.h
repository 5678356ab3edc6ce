#pragma once

#include "platform/UIKit/UIView.h"

/// A bar that fills from the side where texts begin as something gets done. Takes no touches. Main queue only.
///
/// A screen reader finds it as a progress bar under its accessibility label, with the percentage as its value.
class UIProgressView : public UIView {
  ZV_OBJECT(UIProgressView)
 public:
  UIProgressView();

  float progress() const { return progress_; }
  /// From 0 to 1; what lies outside is taken as the nearer of the two. Animated, the bar moves there in a tenth of a
  /// second.
  void setProgress_animated(float progress, bool animated);

  CGSize sizeThatFits() const override;  ///< 2 points high
  void layoutSubviews() override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;

 private:
  CGRect fillFrame() const;

  Strong<UIView> fill_;
  float progress_ = 0;
};
