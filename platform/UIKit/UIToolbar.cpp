#include "platform/UIKit/UIToolbar.h"

#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UILayoutDirection.h"
#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <cmath>

ZV_REGISTER_CLASS(UIToolbar, "UIToolbar", UIView, {})

namespace {

// Points.
constexpr CGFloat margin = 16;
constexpr CGFloat gap = 8;  // between two items without a space
constexpr CGFloat leastPressable = 44;
constexpr CGFloat usualHeight = 44;

bool isFlexible(const UIBarButtonItem& item) {
  return item.isSpace() && item.systemItem() == UIBarButtonSystemItem::FlexibleSpace;
}

CGFloat ownWidth(const UIBarButtonItem& item) {
  if (item.isCustomView()) return item.customView()->bounds().size.width;
  if (item.isSpace()) return isFlexible(item) ? 0 : std::max(item.width(), 0.0f);
  const std::string title = item.title();
  return title.empty() ? leastPressable
                       : std::max(std::ceil(UITextSize(title, item.titleFont()).width), leastPressable);
}

/// On the nearest whole pixel, so that text and symbols stay crisp.
CGFloat onPixel(CGFloat points) {
  const float scale = UIScreen::mainScreen().scale();
  return scale > 0 ? std::round(points * scale) / scale : points;
}

CGRect widened(const CGRect& frame, CGFloat by) {
  return CGRectMake(frame.origin.x - by, frame.origin.y - by, frame.size.width + 2 * by, frame.size.height + 2 * by);
}

}  // namespace

void UIToolbar::setItems(std::vector<Strong<UIBarButtonItem>> items) {
  std::erase(items, nullptr);
  if (items == items_) return;
  const auto old = std::move(items_);
  items_ = std::move(items);
  const auto isHere = [this](const auto& item) {
    return std::find(items_.begin(), items_.end(), item) != items_.end();
  };

  for (const auto& item : old) {
    std::erase_if(item->bars_, [this](const auto& bar) { return bar.expired() || bar.lock().get() == this; });
    const auto& view = item->customView();
    if (view && !isHere(item) && view->superview().get() == this) view->removeFromSuperview();
  }
  const auto self = std::static_pointer_cast<UIToolbar>(weak_from_this().lock());
  for (const auto& item : items_) {
    if (self) item->bars_.push_back(self);
    const auto& view = item->customView();
    if (view && view->superview().get() != this) addSubview(view);
  }
  if (tracked_ && !isHere(tracked_)) {
    tracked_ = nullptr;
    trackedTouch_.reset();
    setPressedItem(nullptr);
  }
  itemDidChange();
  for (const auto& item : old) item->didChangeValueForKey("frame");
}

void UIToolbar::itemDidChange() {
  framesFitSize_.reset();
  setNeedsLayout();
  setNeedsDisplay();
}

std::vector<CGFloat> UIToolbar::widthsIn(CGFloat barWidth) const {
  std::vector<CGFloat> widths;
  std::vector<std::size_t> flexible;
  CGFloat used = 2 * margin, before = margin;  // `before`: what stands before the first flexible space
  for (std::size_t i = 0; i < items_.size(); ++i) {
    if (isFlexible(*items_[i])) flexible.push_back(i);
    widths.push_back(ownWidth(*items_[i]));
    used += widths.back();
    if (i > 0 && !items_[i]->isSpace() && !items_[i - 1]->isSpace()) used += gap;
    if (flexible.empty()) before = used - margin;
  }
  const CGFloat left = std::max(barWidth - used, 0.0F), count = static_cast<CGFloat>(flexible.size());
  for (const std::size_t i : flexible) widths[i] = left / count;
  if (flexible.size() == 2 && flexible[1] == flexible[0] + 2) {
    const CGFloat middle = (barWidth - widths[flexible[0] + 1]) / 2 - before;
    const CGFloat least = std::min(gap, left / 2);
    widths[flexible[0]] = std::clamp(middle, least, left - least);
    widths[flexible[1]] = left - widths[flexible[0]];
  }
  return widths;
}

const std::vector<CGRect>& UIToolbar::frames() const {
  const CGSize size = bounds().size;
  if (framesFitSize_ == size && frames_.size() == items_.size()) return frames_;
  framesFitSize_ = size;
  frames_.clear();

  const std::vector<CGFloat> widths = widthsIn(size.width);
  CGFloat x = margin;
  for (std::size_t i = 0; i < items_.size(); ++i) {
    const auto& item = *items_[i];
    if (i > 0 && !item.isSpace() && !items_[i - 1]->isSpace()) x += gap;
    const CGFloat width = widths[i];
    if (item.isCustomView()) {
      const CGFloat height = item.customView()->bounds().size.height;
      frames_.push_back(CGRectMake(onPixel(x), onPixel((size.height - height) / 2), width, height));
    } else {
      frames_.push_back(CGRectMake(item.isSpace() ? x : onPixel(x), 0, width, size.height));
    }
    x += width;
  }
  for (CGRect& frame : frames_) frame = UIRectInLayoutDirection(frame, size.width);
  return frames_;
}

CGRect UIToolbar::frameOfItem(const UIBarButtonItem* item) const {
  const auto place = std::find_if(items_.begin(), items_.end(), [item](const auto& i) { return i.get() == item; });
  return place == items_.end() ? CGRectZero : frames()[static_cast<std::size_t>(place - items_.begin())];
}

CGSize UIToolbar::sizeThatFits() const {
  return {bounds().size.width, usualHeight};
}

void UIToolbar::layoutSubviews() {
  framesFitSize_.reset();  // a custom view may have a new size
  const auto items = items_;
  for (const auto& item : items) {
    if (item->isCustomView()) item->customView()->setFrame(frameOfItem(item.get()));
    item->didChangeValueForKey("frame");
  }
  setNeedsDisplay();
}

void UIToolbar::setPressedItem(const Strong<UIBarButtonItem>& item) {
  if (item == pressed_) return;
  pressed_ = item;
  setNeedsDisplay();
}

void UIToolbar::handleTouch(const UITouch& touch) {
  const CGPoint point = convertPointFromWindow(touch.locationInWindow);
  if (touch.phase == UITouchPhase::Began) {
    if (trackedTouch_) return;
    for (std::size_t i = 0; i < items_.size(); ++i) {
      if (items_[i]->isSpace() || items_[i]->isCustomView() || !items_[i]->isEnabled()) continue;
      if (!frames()[i].contains(point)) continue;
      trackedTouch_ = touch.identifier;
      tracked_ = items_[i];
      setPressedItem(tracked_);
      break;
    }
    return;
  }
  if (trackedTouch_ != touch.identifier) return;
  const bool inside = widened(frameOfItem(tracked_.get()), UIControl::touchSlop(touch)).contains(point);
  if (touch.phase == UITouchPhase::Moved) {
    setPressedItem(inside ? tracked_ : nullptr);
    return;
  }
  const auto keep = weak_from_this().lock();
  const auto item = std::move(tracked_);
  tracked_ = nullptr;
  trackedTouch_.reset();
  setPressedItem(nullptr);
  if (touch.phase == UITouchPhase::Ended && inside) item->sendAction();
}

std::vector<UIAccessibilityElement> UIToolbar::accessibilityElements() {
  std::vector<UIAccessibilityElement> elements;
  for (std::size_t i = 0; i < items_.size(); ++i) {
    const auto& item = items_[i];
    if (item->isSpace() || item->isCustomView()) continue;
    UIAccessibilityElement element;
    element.label = item->accessibilityIdentifier();
    element.spoken = item->accessibilityLabel();
    element.frame = frames()[i];
    element.enabled = item->isEnabled();
    element.focusRingInsets = {5, -7, 5, -7};  // beside the words, which are as wide, and clear of the bar's edges
    element.activate = [item] { item->sendAction(); };
    elements.push_back(std::move(element));
  }
  return elements;
}
