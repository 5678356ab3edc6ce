#pragma once

#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIView.h"

#include <functional>
#include <optional>
#include <string>

/// A row of a table: a text at its left, and a greyed one at its right; subclasses add what they need. At least 44
/// points high, higher where the text takes several lines. Main queue only.
class UITableViewCell : public UIView {
  ZV_OBJECT(UITableViewCell)
 public:
  /// What keeps from the cell's left and right edge.
  static constexpr CGFloat margin = 16;

  UITableViewCell();

  const Strong<UILabel>& textLabel() const { return text_; }
  const Strong<UILabel>& detailTextLabel() const { return detail_; }
  /// With a handler the cell can be pressed, and then calls it.
  void setSelectionHandler(std::function<void()> handler) { selectionHandler_ = std::move(handler); }
  /// A view at the right end in its own size, in place of the greyed text; null for none. One that leaves the text too
  /// little room stands below it, as wide as the cell.
  void setAccessoryView(const Strong<UIView>& view);
  const Strong<UIView>& accessoryView() const { return accessory_; }

  /// The height that the cell needs when it is so wide.
  virtual CGFloat heightForWidth(CGFloat width) const;
  void layoutSubviews() override;
  void handleTouch(const UITouch& touch) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;

 protected:
  /// Tells the table that `heightForWidth` may give another height, or that the cell hides or shows itself.
  void heightDidChange();

 private:
  friend class UITableView;
  struct Place {
    CGRect text, accessory;
    CGFloat height;
  };
  Place placeInWidth(CGFloat width) const;
  void setPressed(bool pressed);
  void select();

  Strong<UILabel> text_, detail_;
  Strong<UIView> accessory_;
  std::function<void()> selectionHandler_, heightHandler_;
  struct Press {
    int identifier;
    CGPoint start;
  };
  std::optional<Press> press_;
};
