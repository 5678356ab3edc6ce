#pragma once

#include "platform/UIKit/UILabel.h"
#include "platform/UIKit/UIView.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

/// A wheel of rows of which the middle one is chosen: by dragging, by the wheel, with the arrow keys, or with a press
/// on another row. One component. 216 points high. Main queue only.
class UIPickerView : public UIView {
  ZV_OBJECT(UIPickerView)
 public:
  UIPickerView();

  const std::vector<std::string>& rows() const { return rows_; }
  void setRows(std::vector<std::string> rows);
  /// Does nothing for a row or component (0 is the only one) that does not exist.
  void selectRow_inComponent_animated(int row, int component, bool animated);
  /// -1 when there are no rows, or for another component than 0.
  int selectedRowInComponent(int component) const;
  /// Called when a person has chosen another row.
  void setSelectionHandler(std::function<void(int row)> handler) { selectionHandler_ = std::move(handler); }

  CGSize sizeThatFits() const override;
  void layoutSubviews() override;
  void handleTouch(const UITouch& touch) override;
  bool handleScroll(CGPoint delta) override;
  std::vector<UIAccessibilityElement> accessibilityElements() override;

 private:
  /// Puts the rows so that `position` (rows, with a fraction while one drags) is in the middle.
  void place(CGFloat position);
  void choose(int row);
  CGFloat clampedPosition(CGFloat position) const;

  std::vector<std::string> rows_;
  std::vector<Strong<UILabel>> labels_;
  Strong<UIView> upperLine_, lowerLine_;
  std::function<void(int row)> selectionHandler_;
  int selected_ = -1;
  struct Drag {
    int identifier;
    CGPoint start;
    CGFloat position;  ///< at its start
    bool isMoving;
  };
  std::optional<Drag> drag_;
  CGFloat scrolled_ = 0;  ///< points of a touchpad that are less than a row
};
