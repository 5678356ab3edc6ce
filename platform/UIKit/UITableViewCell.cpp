#include "platform/UIKit/UITableViewCell.h"

#include "platform/UIKit/UILayoutDirection.h"

#include <algorithm>
#include <cmath>
#include <utility>

ZV_REGISTER_CLASS(UITableViewCell, "UITableViewCell", UIView, {})

namespace {

constexpr CGFloat usualHeight = 44, pointSize = 17, gap = 8, mostMovement = 10;  // points
constexpr UIColor pressedColor{0.82F, 0.82F, 0.84F, 1};
constexpr UIColor detailColor{0.56F, 0.56F, 0.58F, 1};

}  // namespace

UITableViewCell::UITableViewCell() : text_(std::make_shared<UILabel>()), detail_(std::make_shared<UILabel>()) {
  text_->setFont(UIFont::systemFontOfSize(pointSize));
  detail_->setFont(UIFont::systemFontOfSize(pointSize));
  detail_->setTextColor(detailColor);
  const bool isMirrored = UIApplicationLayoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft;
  detail_->setTextAlignment(isMirrored ? NSTextAlignment::Left : NSTextAlignment::Right);
  // The cell, or the control in it, speaks for them.
  text_->setAccessibilityElementsHidden(true);
  detail_->setAccessibilityElementsHidden(true);
  addSubview(text_);
  addSubview(detail_);
  setPressed(false);
}

void UITableViewCell::setAccessoryView(const Strong<UIView>& view) {
  if (accessory_) accessory_->removeFromSuperview();
  accessory_ = view;
  if (accessory_) addSubview(accessory_);
  setNeedsLayout();
}

CGFloat UITableViewCell::heightForWidth(CGFloat) const {
  return usualHeight;
}

void UITableViewCell::heightDidChange() {
  if (heightHandler_) heightHandler_();
}

void UITableViewCell::layoutSubviews() {
  const CGSize size = bounds().size;
  const CGFloat wanted = text_->sizeThatFits().width;
  const CGFloat room = size.width - 2 * margin;
  CGFloat taken = 0;
  if (accessory_) {
    const CGSize own = accessory_->bounds().size;
    const CGFloat width = std::min(own.width, room);
    taken = width;
    accessory_->setFrame(UIRectInLayoutDirection(
        CGRectMake(size.width - margin - width, std::round((size.height - own.height) / 2), width, own.height),
        size.width));
  }
  const CGFloat textWidth = std::clamp(wanted, 0.0F, std::max(room - taken, 0.0F));
  text_->setFrame(UIRectInLayoutDirection(CGRectMake(margin, 0, textWidth, size.height), size.width));
  const CGFloat left = margin + (textWidth > 0 ? textWidth + gap : 0);
  detail_->setHidden(accessory_ != nullptr);
  detail_->setFrame(UIRectInLayoutDirection(
      CGRectMake(left, 0, std::max(size.width - margin - left, 0.0F), size.height), size.width));
}

void UITableViewCell::setPressed(bool pressed) {
  setBackgroundColor(pressed ? pressedColor : UIColor::whiteColor());
}

void UITableViewCell::select() {
  const auto keep = shared_from_this();
  const auto handler = selectionHandler_;
  if (handler) handler();
}

void UITableViewCell::handleTouch(const UITouch& touch) {
  if (touch.phase == UITouchPhase::Began) {
    if (press_ || !selectionHandler_) return;
    press_ = Press{touch.identifier, touch.locationInWindow};
    setPressed(true);
    return;
  }
  if (!press_ || press_->identifier != touch.identifier) return;
  const CGPoint from = press_->start;
  const bool strayed =
      std::hypot(touch.locationInWindow.x - from.x, touch.locationInWindow.y - from.y) > mostMovement;  // it scrolls
  if (touch.phase == UITouchPhase::Moved && !strayed) return;
  press_.reset();
  setPressed(false);
  if (touch.phase == UITouchPhase::Ended && !strayed) select();
}

std::vector<UIAccessibilityElement> UITableViewCell::accessibilityElements() {
  if (!selectionHandler_) return {};
  UIAccessibilityElement element;
  element.label = accessibilityLabel().empty() ? text_->text() : accessibilityLabel();
  element.frame = bounds();
  element.value = detail_->text();
  element.activate = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) static_cast<UITableViewCell&>(*self).select();
  };
  return {element};
}
