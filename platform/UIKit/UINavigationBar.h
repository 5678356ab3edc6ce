#pragma once

#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UINavigationItem.h"
#include "platform/UIKit/UIToolbar.h"
#include "platform/UIKit/UIView.h"

/// The bar at the top of a navigation controller: a button at each end, and between them a title, in the middle of the
/// bar as far as there is room. Main queue only.
class UINavigationBar : public UIView {
  ZV_OBJECT(UINavigationBar)
 public:
  UINavigationBar();

  const Strong<UINavigationItem>& item() const { return item_; }
  void setItem(const Strong<UINavigationItem>& item);
  /// What shows the buttons.
  const Strong<UIToolbar>& toolbar() const { return toolbar_; }

  CGSize sizeThatFits() const override;  ///< 44 points high
  void layoutSubviews() override;

 private:
  friend class UINavigationItem;
  void itemDidChange();

  Strong<UINavigationItem> item_;
  Strong<UIToolbar> toolbar_;
  Strong<UIBarButtonItem> space_;
  Strong<UILabel> title_;
};
