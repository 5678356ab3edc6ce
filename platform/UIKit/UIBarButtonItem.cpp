#include "platform/UIKit/UIBarButtonItem.h"

#include "platform/UIKit/UIKitStrings.h"
#include "platform/UIKit/UIToolbar.h"

#include <utility>

namespace {

constexpr CGFloat titlePointSize = 17;

}  // namespace

Strong<UIBarButtonItem> UIBarButtonItem::initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem item,
                                                                                   const Strong<NSObject>& target,
                                                                                   SEL action) {
  auto barItem = std::make_shared<UIBarButtonItem>();
  barItem->systemItem_ = item;
  barItem->target_ = target;
  barItem->action_ = std::move(action);
  return barItem;
}

Strong<UIBarButtonItem> UIBarButtonItem::initWithCustomView(const Strong<UIView>& view) {
  auto barItem = std::make_shared<UIBarButtonItem>();
  barItem->customView_ = view;
  return barItem;
}

void UIBarButtonItem::setWidth(CGFloat width) {
  if (width == width_) return;
  width_ = width;
  didChange();
}

void UIBarButtonItem::setImageInsets(UIEdgeInsets insets) {
  if (insets == insets_) return;
  insets_ = insets;
  didChange();
}

void UIBarButtonItem::didChange() {
  for (const auto& weak : bars_) {
    if (const auto bar = weak.lock()) bar->itemDidChange();
  }
}

void UIBarButtonItem::sendAction() {
  const auto self = shared_from_this();
  const auto target = target_.lock();
  if (target && target->respondsToSelector(action_)) target->performSelector_withObject(action_, self);
}

std::string UIBarButtonItem::title() const {
  if (customView_) return {};
  switch (systemItem_) {
    case UIBarButtonSystemItem::Done:
    case UIBarButtonSystemItem::Cancel:
    case UIBarButtonSystemItem::Save:
    case UIBarButtonSystemItem::Undo:
      return UIKitLocalizedString(accessibilityLabel());
    default:
      return {};
  }
}

UIFont UIBarButtonItem::titleFont() const {
  const bool standsOut = systemItem_ == UIBarButtonSystemItem::Done || systemItem_ == UIBarButtonSystemItem::Save;
  return standsOut ? UIFont::semiboldSystemFontOfSize(titlePointSize) : UIFont::systemFontOfSize(titlePointSize);
}

std::string UIBarButtonItem::accessibilityLabel() const {
  if (customView_) return {};
  switch (systemItem_) {
    case UIBarButtonSystemItem::Done:
      return "Done";
    case UIBarButtonSystemItem::Cancel:
      return "Cancel";
    case UIBarButtonSystemItem::Save:
      return "Save";
    case UIBarButtonSystemItem::Action:
      return "Share";
    case UIBarButtonSystemItem::Play:
      return "Play";
    case UIBarButtonSystemItem::Pause:
      return "Pause";
    case UIBarButtonSystemItem::Undo:
      return "Undo";
    case UIBarButtonSystemItem::FlexibleSpace:
    case UIBarButtonSystemItem::FixedSpace:
      break;
  }
  return {};
}
