#pragma once

#include "platform/UIKit/UIActivity.h"
#include "platform/UIKit/UICardView.h"
#include "platform/UIKit/UIImageView.h"
#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIView.h"

#include <functional>
#include <optional>

/// One activity in a share sheet: its icon, and its title below in two lines at most. A press that turns into a drag is
/// none, so that the sheet can be scrolled from anywhere.
class UIActivityCell : public UIView {
  ZV_OBJECT(UIActivityCell)
 public:
  // Points.
  static constexpr CGFloat iconSize = 60;
  static constexpr CGFloat height = 104;

  static Strong<UIActivityCell> create(const Strong<UIActivity>& activity, std::function<void()> handler);
  const Strong<UIActivity>& activity() const { return activity_; }
  const Strong<UILabel>& titleLabel() const { return title_; }

  void layoutSubviews() override;
  void handleTouch(const UITouch& touch) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;

 private:
  void setPressed(bool pressed);

  Strong<UIActivity> activity_;
  std::function<void()> handler_;
  Strong<UICardView> tile_;
  Strong<UIImageView> icon_;  ///< null when the activity has none
  Strong<UILabel> letter_;    ///< stands in for it
  Strong<UILabel> title_;
  struct Press {
    int identifier;
    CGPoint start;
  };
  std::optional<Press> press_;
};
