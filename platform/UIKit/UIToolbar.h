#pragma once

#include "platform/UIKit/UIBarButtonItem.h"
#include "platform/UIKit/UIView.h"

#include <vector>

enum class UIBarPosition { Any = 0, Bottom = 1, Top = 2, TopAttached = 3 };
class UIToolbar;

class UIBarPositioningDelegate {
 public:
  virtual ~UIBarPositioningDelegate() = default;
};
class UIToolbarDelegate : public UIBarPositioningDelegate {};

/// A translucent bar with a row of items: buttons, views, and spaces that share what room is left. Main queue only.
///
/// The row keeps 16 points from both ends of the bar, and items that stand next to each other without a space keep 8.
/// Flexible spaces share the room that is left equally. A custom view keeps its size, is a subview of the bar as long
/// as its item is in the bar, and stands in the middle of the bar's height.
///
/// One item with a flexible space on each side, and no others in the bar, stands in the middle of the bar, or as near
/// to it as what is beside it allows: a title does not move with the width of the buttons.
class UIToolbar : public UIView {
  ZV_OBJECT(UIToolbar)
 public:
  const std::vector<Strong<UIBarButtonItem>>& items() const { return items_; }
  void setItems(std::vector<Strong<UIBarButtonItem>> items);
  UIToolbarDelegate* delegate() const { return delegate_; }
  void setDelegate(UIToolbarDelegate* delegate) { delegate_ = delegate; }

  /// Where the line that parts the bar from the rest is: above a bar at the Bottom, below one at the Top; for Any,
  /// below a bar that begins at the window's upper edge and above others.
  UIBarPosition barPosition() const { return position_; }
  void setBarPosition(UIBarPosition position) { position_ = position; }

  /// Where an item stands, in the toolbar's coordinates; a button's frame is what can be pressed (at least 44 wide and
  /// as high as the bar), without image insets. Zero for an item that is not in the bar.
  CGRect frameOfItem(const UIBarButtonItem* item) const;
  /// The button that is being pressed, or null.
  const UIBarButtonItem* pressedItem() const { return pressed_.get(); }

  CGSize sizeThatFits() const override;  ///< 44 points high
  void layoutSubviews() override;
  void handleTouch(const UITouch& touch) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;
  const char* visualKind() const override { return "toolbar"; }

 private:
  friend class UIBarButtonItem;
  void itemDidChange();
  void setPressedItem(const Strong<UIBarButtonItem>& item);
  const std::vector<CGRect>& frames() const;
  /// Of the items in a bar so wide, with what each flexible space gets.
  std::vector<CGFloat> widthsIn(CGFloat barWidth) const;

  std::vector<Strong<UIBarButtonItem>> items_;
  mutable std::vector<CGRect> frames_;  ///< of `items_`, worked out when asked for
  mutable std::optional<CGSize> framesFitSize_;
  UIToolbarDelegate* delegate_ = nullptr;
  UIBarPosition position_ = UIBarPosition::Any;
  Strong<UIBarButtonItem> tracked_, pressed_;
  std::optional<int> trackedTouch_;
};
