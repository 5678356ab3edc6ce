#include "platform/UIKit/UILabel.h"

#include "platform/UIKit/UILayoutDirection.h"

#include <cmath>
#include <utility>

ZV_REGISTER_CLASS(UILabel, "UILabel", UIView, {})

UILabel::UILabel() {
  setUserInteractionEnabled(false);
}

void UILabel::setText(std::string text) {
  if (text == text_) return;
  text_ = std::move(text);
  setNeedsDisplay();
}

void UILabel::setFont(UIFont font) {
  if (font == font_) return;
  font_ = font;
  setNeedsDisplay();
}

void UILabel::setTextColor(UIColor color) {
  if (color == color_) return;
  color_ = color;
  setNeedsDisplay();
}

NSTextAlignment UILabel::textAlignment() const {
  if (alignment_) return *alignment_;
  return UIApplicationLayoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft ? NSTextAlignment::Right
                                                                                       : NSTextAlignment::Left;
}

void UILabel::setTextAlignment(NSTextAlignment alignment) {
  if (alignment == alignment_) return;
  alignment_ = alignment;
  setNeedsDisplay();
}

void UILabel::setNumberOfLines(int lines) {
  if (lines == lines_) return;
  lines_ = lines;
  setNeedsDisplay();
}

CGSize UILabel::sizeThatFits() const {
  const CGSize size = lines_ == 1 ? UITextSize(text_, font_) : UITextSizeInWidth(text_, font_, bounds().size.width);
  return {std::ceil(size.width), std::ceil(size.height)};
}

std::vector<UIAccessibilityElement> UILabel::accessibilityElements() {
  UIAccessibilityElement element;
  element.label = accessibilityLabel().empty() ? text_ : accessibilityLabel();
  if (element.label.empty()) return {};
  element.role = UIAccessibilityRole::StaticText;
  element.frame = bounds();
  return {element};
}
