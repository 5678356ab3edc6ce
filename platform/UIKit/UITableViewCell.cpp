#include "platform/UIKit/UITableViewCell.h"

#include "platform/UIKit/UILayoutDirection.h"

#include <algorithm>
#include <cmath>
#include <utility>

ZV_REGISTER_CLASS(UITableViewCell, "UITableViewCell", UIView, {})

namespace {

// Points.
constexpr CGFloat usualHeight = 44, pointSize = 17, lineHeight = 22, padding = 11, gap = 8, mostMovement = 10;
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

/// Of a cell that reads from the left.
UITableViewCell::Place UITableViewCell::placeInWidth(CGFloat width) const {
  const CGFloat room = std::max(width - 2 * margin, 1.0F);
  const CGFloat wanted = std::ceil(UITextSize(text_->text(), text_->font()).width);
  const CGSize own = accessory_ ? accessory_->sizeThatFits() : CGSizeZero;
  const CGFloat besideAccessory = room - (accessory_ ? own.width + gap : 0);
  const bool isBelow = accessory_ && wanted > besideAccessory && besideAccessory < room / 2;
  const CGFloat textWidth = std::clamp(wanted, 0.0F, isBelow ? room : std::max(besideAccessory, 0.0F));
  const CGFloat textHeight =
      wanted > textWidth ? std::ceil(UITextSizeInWidth(text_->text(), text_->font(), std::max(textWidth, 1.0F)).height)
                         : lineHeight;

  Place place;
  const CGFloat content = textHeight + (isBelow ? gap + own.height : 0);
  place.height = std::max(content + 2 * padding, usualHeight);
  const CGFloat top = std::round((place.height - content) / 2);
  place.text = CGRectMake(margin, top, textWidth, textHeight);
  place.accessory = isBelow ? CGRectMake(margin, top + textHeight + gap, room, own.height)
                            : CGRectMake(width - margin - own.width, std::round((place.height - own.height) / 2),
                                         own.width, own.height);
  return place;
}

CGFloat UITableViewCell::heightForWidth(CGFloat width) const {
  return placeInWidth(width).height;
}

void UITableViewCell::heightDidChange() {
  if (heightHandler_) heightHandler_();
}

void UITableViewCell::layoutSubviews() {
  const CGSize size = bounds().size;
  const Place place = placeInWidth(size.width);
  if (accessory_) accessory_->setFrame(UIRectInLayoutDirection(place.accessory, size.width));
  const bool isOneLine = place.text.size.height <= lineHeight;
  text_->setNumberOfLines(isOneLine ? 1 : 0);
  text_->setFrame(UIRectInLayoutDirection(place.text, size.width));
  const CGFloat left = margin + (place.text.size.width > 0 ? place.text.size.width + gap : 0);
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
  element.focusRingInsets = {3, margin / 2, 3, margin / 2};
  element.activate = [weak = weak_from_this()] {
    if (const auto self = weak.lock()) static_cast<UITableViewCell&>(*self).select();
  };
  return {element};
}
