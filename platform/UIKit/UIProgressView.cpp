#include "platform/UIKit/UIProgressView.h"

#include "platform/Foundation/NSNumberFormatter.h"
#include "platform/UIKit/UILayoutDirection.h"

#include <algorithm>
#include <cmath>

ZV_REGISTER_CLASS(UIProgressView, "UIProgressView", UIView, {})

namespace {

constexpr CGFloat usualHeight = 2;        // points
constexpr double animationTime = 0.1;     // seconds
constexpr UIColor tint{0, 0.478F, 1, 1};  // as the buttons of the bars
constexpr UIColor track{0, 0, 0, 0.12F};

}  // namespace

UIProgressView::UIProgressView() : fill_(std::make_shared<UIView>()) {
  setUserInteractionEnabled(false);
  setBackgroundColor(track);
  fill_->setBackgroundColor(tint);
  addSubview(fill_);
}

void UIProgressView::setProgress_animated(float progress, bool animated) {
  progress = std::isnan(progress) ? 0 : std::clamp(progress, 0.0F, 1.0F);
  if (progress == progress_) return;
  progress_ = progress;
  if (animated) {
    UIView::animateWithDuration_animations(animationTime, [this] { fill_->setFrame(fillFrame()); });
  } else {
    fill_->setFrame(fillFrame());
  }
}

CGRect UIProgressView::fillFrame() const {
  const CGSize size = bounds().size;
  return UIRectInLayoutDirection(CGRectMake(0, 0, size.width * progress_, size.height), size.width);
}

CGSize UIProgressView::sizeThatFits() const {
  return {bounds().size.width, usualHeight};
}

void UIProgressView::layoutSubviews() {
  fill_->setFrame(fillFrame());
}

std::vector<UIAccessibilityElement> UIProgressView::accessibilityElements() {
  UIAccessibilityElement element;
  element.label = accessibilityLabel();
  element.role = UIAccessibilityRole::ProgressBar;
  element.frame = bounds();
  element.value = NSNumberFormatter::percentStringFromPart(static_cast<double>(progress_));
  return {element};
}
