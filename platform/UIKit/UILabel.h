#pragma once

#include "platform/UIKit/UIFont.h"
#include "platform/UIKit/UIView.h"

#include <optional>

/// One line of text, which ends in an ellipsis where it does not fit, or several lines. Takes no touches unless told
/// to.
class UILabel : public UIView {
  ZV_OBJECT(UILabel)
 public:
  UILabel();
  const std::string& text() const { return text_; }
  void setText(std::string text);
  const UIFont& font() const { return font_; }
  void setFont(UIFont font);
  const UIColor& textColor() const { return color_; }
  void setTextColor(UIColor color);
  /// As it was set; else the side where the person's language begins.
  NSTextAlignment textAlignment() const;
  void setTextAlignment(NSTextAlignment alignment);
  /// 1, or 0 for as many as the text needs; these begin at the top, and stick out below where there is no room. A
  /// larger number is the most there are; then the last ends in an ellipsis where the text goes on.
  int numberOfLines() const { return lines_; }
  void setNumberOfLines(int lines);
  /// The size of the text, rounded up to whole points; with several lines, in the present width.
  CGSize sizeThatFits() const override;
  const char* visualKind() const override { return "label"; }
  std::vector<UIAccessibilityElement> accessibilityElements() override;

 private:
  std::string text_;
  UIFont font_;
  UIColor color_ = UIColor::blackColor();
  std::optional<NSTextAlignment> alignment_;
  int lines_ = 1;
};
