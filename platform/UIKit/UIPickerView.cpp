#include "platform/UIKit/UIPickerView.h"

#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <cmath>
#include <utility>

ZV_REGISTER_CLASS(UIPickerView, "UIPickerView", UIView, {})

namespace {

constexpr CGFloat usualHeight = 216, rowHeight = 32, pointSize = 20, leastMovement = 4;  // points
constexpr CGFloat rowsInSight = 3.2F;                                                    // above and below the middle
constexpr double turnTime = 0.2;                                                         // seconds

/// As thin as the screen allows.
CGFloat hairline() {
  return 1 / UIScreen::mainScreen().scale();
}

}  // namespace

UIPickerView::UIPickerView() : upperLine_(std::make_shared<UIView>()), lowerLine_(std::make_shared<UIView>()) {
  layer()->setMasksToBounds(true);
  setDeliversTouchesForGesturesToSuperview(false);
  for (const auto& line : {upperLine_, lowerLine_}) {
    line->setBackgroundColor(UIColor::colorWithWhite_alpha(0, 0.2F));
    line->setUserInteractionEnabled(false);
    addSubview(line);
  }
}

void UIPickerView::setRows(std::vector<std::string> rows) {
  rows_ = std::move(rows);
  for (const auto& label : labels_) label->removeFromSuperview();
  labels_.clear();
  for (const auto& row : rows_) {
    auto label = std::make_shared<UILabel>();
    label->setText(row);
    label->setFont(UIFont::systemFontOfSize(pointSize));
    label->setTextAlignment(NSTextAlignment::Center);
    label->setAccessibilityElementsHidden(true);  // the picker speaks for its rows
    addSubview(label);
    labels_.push_back(std::move(label));
  }
  selected_ = rows_.empty() ? -1 : std::clamp(selected_, 0, static_cast<int>(rows_.size()) - 1);
  setNeedsLayout();
}

void UIPickerView::selectRow_inComponent_animated(int row, int component, bool animated) {
  if (component != 0 || row < 0 || row >= static_cast<int>(rows_.size())) return;
  selected_ = row;
  drag_.reset();
  if (animated) {
    UIView::animateWithDuration_animations(turnTime, [this] { place(static_cast<CGFloat>(selected_)); });
  } else {
    place(static_cast<CGFloat>(selected_));
  }
}

int UIPickerView::selectedRowInComponent(int component) const {
  return component == 0 ? selected_ : -1;
}

void UIPickerView::choose(int row) {
  row = std::clamp(row, 0, std::max(static_cast<int>(rows_.size()) - 1, 0));
  const bool isOther = row != selected_;
  selectRow_inComponent_animated(row, 0, true);
  if (isOther && !rows_.empty() && selectionHandler_) selectionHandler_(row);
}

CGSize UIPickerView::sizeThatFits() const {
  return {bounds().size.width, usualHeight};
}

void UIPickerView::layoutSubviews() {
  const CGSize size = bounds().size;
  const CGFloat top = std::round((size.height - rowHeight) / 2);
  upperLine_->setFrame(CGRectMake(0, top, size.width, hairline()));
  lowerLine_->setFrame(CGRectMake(0, top + rowHeight, size.width, hairline()));
  if (!drag_) place(static_cast<CGFloat>(selected_));
}

void UIPickerView::place(CGFloat position) {
  const CGSize size = bounds().size;
  const CGFloat top = std::round((size.height - rowHeight) / 2);
  for (std::size_t i = 0; i < labels_.size(); ++i) {
    const CGFloat away = static_cast<CGFloat>(i) - position;
    labels_[i]->setFrame(CGRectMake(0, top + away * rowHeight, size.width, rowHeight));
    labels_[i]->setAlpha(std::clamp(1 - std::abs(away) / rowsInSight, 0.0F, 1.0F));
  }
}

CGFloat UIPickerView::clampedPosition(CGFloat position) const {
  return std::clamp(position, -0.5F, static_cast<CGFloat>(rows_.size()) - 0.5F);
}

void UIPickerView::handleTouch(const UITouch& touch) {
  if (touch.phase == UITouchPhase::Began) {
    if (!drag_ && !rows_.empty()) {
      drag_ = Drag{touch.identifier, touch.locationInWindow, static_cast<CGFloat>(selected_), false};
    }
    return;
  }
  if (!drag_ || drag_->identifier != touch.identifier) return;
  const CGFloat moved = touch.locationInWindow.y - drag_->start.y;
  if (std::abs(moved) > leastMovement) drag_->isMoving = true;
  const CGFloat position = clampedPosition(drag_->position - moved / rowHeight);
  if (touch.phase == UITouchPhase::Moved) {
    if (drag_->isMoving) place(position);
    return;
  }
  const bool wasMoving = std::exchange(drag_, std::nullopt)->isMoving;
  if (touch.phase == UITouchPhase::Cancelled) {
    choose(selected_);
  } else if (wasMoving) {
    choose(static_cast<int>(std::lround(position)));
  } else {
    const CGFloat y = convertPointFromWindow(touch.locationInWindow).y;
    choose(selected_ + static_cast<int>(std::lround((y - bounds().size.height / 2) / rowHeight)));
  }
}

bool UIPickerView::handleScroll(CGPoint delta) {
  scrolled_ += delta.y;
  const int rows = static_cast<int>(scrolled_ / rowHeight);
  if (rows != 0) {
    scrolled_ = 0;
    choose(selected_ + rows);
  }
  return true;  // also at its ends: what is around must not move instead
}

std::vector<UIAccessibilityElement> UIPickerView::accessibilityElements() {
  UIAccessibilityElement element;
  element.label = accessibilityLabel();
  element.role = UIAccessibilityRole::Picker;
  element.frame = bounds();
  element.focusRingInsets = {3, 8, 3, 8};
  if (selected_ >= 0) element.value = rows_[static_cast<std::size_t>(selected_)];
  element.adjust = [weak = weak_from_this()](int steps, UIAdjustmentUnit) {
    const auto self = std::static_pointer_cast<UIPickerView>(weak.lock());
    if (self && !self->rows_.empty()) {
      const long row = static_cast<long>(self->selected_) + steps;
      self->choose(static_cast<int>(std::clamp(row, 0L, static_cast<long>(self->rows_.size()) - 1)));
    }
  };
  return {element};
}
