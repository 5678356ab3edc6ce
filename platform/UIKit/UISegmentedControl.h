#pragma once

#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UIFont.h"

#include <string>
#include <vector>

/// One of a few words, side by side, each with the same room as long as they all fit into that. A press, or Space or
/// Return on the focused word, chooses it and sends ValueChanged. Main queue only.
class UISegmentedControl : public UIControl {
  ZV_OBJECT(UISegmentedControl)
 public:
  static Strong<UISegmentedControl> initWithItems(std::vector<std::string> titles);

  const std::vector<std::string>& titles() const { return titles_; }
  int selectedSegmentIndex() const { return selected_; }  ///< from 0
  void setSelectedSegmentIndex(int index);
  /// The word that is being pressed, or -1.
  int pressedSegmentIndex() const { return isHighlighted() ? tracked_ : -1; }
  /// In this view's coordinates.
  CGRect frameOfSegment(int index) const;
  static UIFont titleFont();

  CGSize sizeThatFits() const override;
  void handleTouch(const UITouch& touch) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;
  const char* visualKind() const override { return "segmented"; }

 private:
  void choose(int index);
  std::vector<CGFloat> titleWidths() const;

  std::vector<std::string> titles_;
  int selected_ = 0;
  int tracked_ = -1;
};
