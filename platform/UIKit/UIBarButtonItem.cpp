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

Strong<UIBarButtonItem> UIBarButtonItem::initWithTitle_style_target_action(std::string title,
                                                                           UIBarButtonItemStyle style,
                                                                           const Strong<NSObject>& target, SEL action) {
  auto barItem = initWithBarButtonSystemItem_target_action(UIBarButtonSystemItem::Done, target, std::move(action));
  barItem->title_ = std::move(title);
  barItem->style_ = style;
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

void UIBarButtonItem::setEnabled(bool enabled) {
  if (enabled == enabled_) return;
  enabled_ = enabled;
  didChange();
}

void UIBarButtonItem::didChange() {
  for (const auto& weak : bars_) {
    if (const auto bar = weak.lock()) bar->itemDidChange();
  }
}

std::optional<CGRect> UIBarButtonItem::frameInWindow(const UIWindow* window) const {
  for (const auto& weak : bars_) {
    const auto bar = weak.lock();
    if (!bar || bar->window() != window || bar->isHidden()) continue;
    CGRect frame = bar->frameOfItem(this);
    frame.origin = bar->convertPointToWindow(frame.origin);
    return frame;
  }
  return std::nullopt;
}

void UIBarButtonItem::sendAction() {
  const auto self = shared_from_this();
  const auto target = target_.lock();
  if (enabled_ && target && target->respondsToSelector(action_)) target->performSelector_withObject(action_, self);
}

std::string UIBarButtonItem::title() const {
  if (customView_) return {};
  if (!title_.empty()) return title_;
  switch (systemItem_) {
    case UIBarButtonSystemItem::Done:
    case UIBarButtonSystemItem::Cancel:
    case UIBarButtonSystemItem::Save:
    case UIBarButtonSystemItem::Undo:
      return accessibilityLabel();
    default:
      return {};
  }
}

UIFont UIBarButtonItem::titleFont() const {
  const bool standsOut = title_.empty()
                             ? systemItem_ == UIBarButtonSystemItem::Done || systemItem_ == UIBarButtonSystemItem::Save
                             : style_ == UIBarButtonItemStyle::Done;
  return standsOut ? UIFont::semiboldSystemFontOfSize(titlePointSize) : UIFont::systemFontOfSize(titlePointSize);
}

std::string UIBarButtonItem::accessibilityLabel() const {
  const std::string identifier = accessibilityIdentifier();
  return identifier.empty() || !title_.empty() ? identifier : UIKitLocalizedString(identifier);
}

std::string UIBarButtonItem::accessibilityIdentifier() const {
  if (customView_) return {};
  if (!title_.empty()) return title_;
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
