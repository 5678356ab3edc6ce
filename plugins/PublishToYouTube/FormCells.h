#pragma once

#include "platform/Foundation/NSValueObjects.h"
#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UITableViewCell.h"
#include "platform/UIKit/UITextField.h"
#include "platform/UIKit/UITextView.h"

#include <optional>
#include <string>

/// Tells taps beside a row's control from the beginning of a scroll.
class PublishingTap {
 public:
  /// Whether the touch has just become a tap.
  bool follow(const UITouch& touch);

 private:
  struct Start {
    int identifier;
    CGPoint at;
  };
  std::optional<Start> start_;
};

/// A row with a caption and a line to type in; a tap on the caption leads there, too.
class PublishingTextFieldCell : public UITableViewCell {
  ZV_OBJECT(PublishingTextFieldCell)
 public:
  PublishingTextFieldCell();
  void setCaption(const std::string& caption);
  const Strong<UITextField>& textField() const { return field_; }
  void layoutSubviews() override;
  void handleTouch(const UITouch& touch) override;

 private:
  Strong<UITextField> field_;
  PublishingTap tap_;
};

/// The row for the description: as high as its text. Answers `setValue:` and `setPlaceholderText:`, each with a text or
/// null.
class PublishingDescriptionCell : public UITableViewCell {
  ZV_OBJECT(PublishingDescriptionCell)
 public:
  PublishingDescriptionCell();
  void setCaption(const std::string& caption);
  void setValue(const Strong<NSString>& value);
  void setPlaceholderText(const Strong<NSString>& text);
  const Strong<UITextView>& textView() const { return text_; }
  CGFloat heightForWidth(CGFloat width) const override;
  void layoutSubviews() override;
  void handleTouch(const UITouch& touch) override;

 private:
  Strong<UITextView> text_;
  PublishingTap tap_;
};

/// A row with a caption and a control at its end; a tap on the caption gives the control the keyboard's focus.
class PublishingControlCell : public UITableViewCell {
  ZV_OBJECT(PublishingControlCell)
 public:
  static Strong<PublishingControlCell> cellWithCaption_control(const std::string& caption,
                                                               const Strong<UIControl>& control);
  void handleTouch(const UITouch& touch) override;

 private:
  Strong<UIControl> control_;
  PublishingTap tap_;
};

/// The row that shows the category. Answers `setCategoryString:`.
class PublishingCategoryCell : public UITableViewCell {
  ZV_OBJECT(PublishingCategoryCell)
 public:
  void setCategoryString(const Strong<NSString>& category);
};

/// A row that is nothing but one view, in its own height.
class PublishingViewCell : public UITableViewCell {
  ZV_OBJECT(PublishingViewCell)
 public:
  static Strong<PublishingViewCell> cellWithView(const Strong<UIView>& view);
  CGFloat heightForWidth(CGFloat width) const override;
  void layoutSubviews() override;

 private:
  Strong<UIView> view_;
};
