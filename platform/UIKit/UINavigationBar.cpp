#include "platform/UIKit/UINavigationBar.h"

#include "platform/UIKit/UILayoutDirection.h"

#include <algorithm>
#include <cmath>
#include <utility>

ZV_REGISTER_CLASS(UINavigationBar, "UINavigationBar", UIView, {})

namespace {

constexpr CGFloat usualHeight = 44, titlePointSize = 17, gap = 8;  // points

}  // namespace

UINavigationBar::UINavigationBar()
    : toolbar_(std::make_shared<UIToolbar>()),
      space_(UIBarButtonItem::initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem::FlexibleSpace, nullptr,
                                                                        SEL())),
      title_(std::make_shared<UILabel>()) {
  toolbar_->setBarPosition(UIBarPosition::Top);
  title_->setFont(UIFont::semiboldSystemFontOfSize(titlePointSize));
  title_->setTextAlignment(NSTextAlignment::Center);
  addSubview(toolbar_);
  addSubview(title_);
}

void UINavigationBar::setItem(const Strong<UINavigationItem>& item) {
  if (item == item_) return;
  if (item_) item_->bar_.reset();
  item_ = item;
  if (item_) item_->bar_ = std::static_pointer_cast<UINavigationBar>(weak_from_this().lock());
  itemDidChange();
}

void UINavigationBar::itemDidChange() {
  std::vector<Strong<UIBarButtonItem>> items;
  if (item_) items = {item_->leftBarButtonItem(), space_, item_->rightBarButtonItem()};
  toolbar_->setItems(std::move(items));
  title_->setText(item_ ? item_->title() : std::string());
  setNeedsLayout();
}

CGSize UINavigationBar::sizeThatFits() const {
  return {bounds().size.width, usualHeight};
}

void UINavigationBar::layoutSubviews() {
  const CGSize size = bounds().size;
  toolbar_->setFrame(bounds());
  CGFloat left = gap, right = size.width - gap;
  Strong<UIBarButtonItem> first, second;  // as they stand
  if (item_) {
    first = item_->leftBarButtonItem();
    second = item_->rightBarButtonItem();
    if (UIApplicationLayoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft) std::swap(first, second);
  }
  if (first) left = toolbar_->frameOfItem(first.get()).maxX() + gap;
  if (second) right = toolbar_->frameOfItem(second.get()).origin.x - gap;
  const CGSize wanted = title_->sizeThatFits();
  const CGFloat room = std::max(right - left, 0.0F), width = std::min(wanted.width, room);
  const CGFloat x = std::clamp((size.width - width) / 2, left, std::max(left, right - width));
  title_->setFrame(CGRectMake(std::round(x), 0, width, size.height));
}
