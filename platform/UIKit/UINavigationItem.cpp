#include "platform/UIKit/UINavigationItem.h"

#include "platform/UIKit/UINavigationBar.h"

void UINavigationItem::setTitle(std::string title) {
  if (title == title_) return;
  title_ = std::move(title);
  didChange();
}

void UINavigationItem::setLeftBarButtonItem(const Strong<UIBarButtonItem>& item) {
  if (item == left_) return;
  left_ = item;
  didChange();
}

void UINavigationItem::setRightBarButtonItem(const Strong<UIBarButtonItem>& item) {
  if (item == right_) return;
  right_ = item;
  didChange();
}

void UINavigationItem::didChange() {
  if (const auto bar = bar_.lock()) bar->itemDidChange();
}
