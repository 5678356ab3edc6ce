#include "plugins/PublishToYouTube/FormCells.h"

#include "platform/UIKit/UILayoutDirection.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <cmath>

ZV_REGISTER_CLASS(PublishingTextFieldCell, "PublishingTextFieldCell", UITableViewCell, {})
ZV_REGISTER_CLASS(PublishingDescriptionCell, "PublishingDescriptionCell", UITableViewCell,
                  {{"setValue:", runtime::method(&PublishingDescriptionCell::setValue)},
                   {"setPlaceholderText:", runtime::method(&PublishingDescriptionCell::setPlaceholderText)}})
ZV_REGISTER_CLASS(PublishingCategoryCell, "PublishingCategoryCell", UITableViewCell,
                  {{"setCategoryString:", runtime::method(&PublishingCategoryCell::setCategoryString)}})
ZV_REGISTER_CLASS(PublishingControlCell, "PublishingControlCell", UITableViewCell, {})
ZV_REGISTER_CLASS(PublishingViewCell, "PublishingViewCell", UITableViewCell, {})

namespace {

constexpr CGFloat captionWidth = 96, padding = 11, captionHeight = 20, captionGap = 4;  // points
constexpr int leastLines = 3;

std::string textOf(const Strong<NSString>& string) {
  return string ? string->text() : std::string();
}

}  // namespace

bool PublishingTap::follow(const UITouch& touch) {
  constexpr float mostMovement = 10;  // points
  if (touch.phase == UITouchPhase::Began) {
    if (!start_) start_ = Start{touch.identifier, touch.locationInWindow};
    return false;
  }
  if (!start_ || start_->identifier != touch.identifier) return false;
  const CGPoint from = start_->at;
  const bool strayed = std::hypot(touch.locationInWindow.x - from.x, touch.locationInWindow.y - from.y) > mostMovement;
  if (touch.phase == UITouchPhase::Moved && !strayed) return false;
  start_.reset();
  return touch.phase == UITouchPhase::Ended && !strayed;
}

PublishingTextFieldCell::PublishingTextFieldCell() : field_(std::make_shared<UITextField>()) {
  detailTextLabel()->setHidden(true);
  addSubview(field_);
}

void PublishingTextFieldCell::setCaption(const std::string& caption) {
  textLabel()->setText(caption);
  field_->setAccessibilityLabel(caption);
}

void PublishingTextFieldCell::layoutSubviews() {
  const CGSize size = bounds().size;
  const CGFloat caption = std::clamp(textLabel()->sizeThatFits().width + margin / 2, captionWidth, size.width / 2);
  textLabel()->setFrame(UIRectInLayoutDirection(CGRectMake(margin, 0, caption, size.height), size.width));
  const CGFloat left = margin + caption;
  field_->setFrame(UIRectInLayoutDirection(CGRectMake(left, 0, std::max(size.width - margin - left, 0.0F), size.height),
                                           size.width));
}

void PublishingTextFieldCell::handleTouch(const UITouch& touch) {
  UITableViewCell::handleTouch(touch);
  if (tap_.follow(touch)) field_->becomeFirstResponder();
}

PublishingDescriptionCell::PublishingDescriptionCell() : text_(std::make_shared<UITextView>()) {
  detailTextLabel()->setHidden(true);
  text_->setHeightHandler([this] { heightDidChange(); });
  addSubview(text_);
}

void PublishingDescriptionCell::setCaption(const std::string& caption) {
  textLabel()->setText(caption);
  text_->setAccessibilityLabel(caption);
}

void PublishingDescriptionCell::setValue(const Strong<NSString>& value) {
  text_->setText(textOf(value));
}

void PublishingDescriptionCell::setPlaceholderText(const Strong<NSString>& text) {
  text_->setPlaceholder(textOf(text));
}

CGFloat PublishingDescriptionCell::heightForWidth(CGFloat width) const {
  const CGFloat line = UITextSize("A", text_->font()).height;
  const CGFloat lines = UITextSizeInWidth(text_->text(), text_->font(), std::max(width - 2 * margin, 1.0F)).height;
  return std::ceil(2 * padding + captionHeight + captionGap + std::max(lines, leastLines * line));
}

void PublishingDescriptionCell::layoutSubviews() {
  const CGSize size = bounds().size;
  const CGFloat room = size.width - 2 * margin, top = padding + captionHeight + captionGap;
  textLabel()->setFrame(CGRectMake(margin, padding, room, captionHeight));
  text_->setFrame(CGRectMake(margin, top, room, std::max(size.height - top, 0.0F)));
}

void PublishingDescriptionCell::handleTouch(const UITouch& touch) {
  UITableViewCell::handleTouch(touch);
  if (tap_.follow(touch)) text_->becomeFirstResponder();
}

Strong<PublishingControlCell> PublishingControlCell::cellWithCaption_control(const std::string& caption,
                                                                             const Strong<UIControl>& control) {
  auto cell = std::make_shared<PublishingControlCell>();
  cell->textLabel()->setText(caption);
  cell->control_ = control;
  control->setAccessibilityLabel(caption);
  cell->setAccessoryView(control);
  return cell;
}

void PublishingControlCell::handleTouch(const UITouch& touch) {
  UITableViewCell::handleTouch(touch);
  if (!tap_.follow(touch) || !window() || !control_->isUserInteractionEnabled()) return;
  const auto elements = control_->accessibilityElements();
  const auto chosen =
      std::find_if(elements.begin(), elements.end(), [](const UIAccessibilityElement& each) { return each.checked; });
  // Of several words the chosen one; a switch is one element.
  if (chosen != elements.end() || elements.size() == 1) {
    window()->setFocus(control_, (chosen != elements.end() ? *chosen : elements.front()).label);
  }
}

void PublishingCategoryCell::setCategoryString(const Strong<NSString>& category) {
  detailTextLabel()->setText(textOf(category));
}

Strong<PublishingViewCell> PublishingViewCell::cellWithView(const Strong<UIView>& view) {
  auto cell = std::make_shared<PublishingViewCell>();
  cell->view_ = view;
  cell->addSubview(view);
  return cell;
}

CGFloat PublishingViewCell::heightForWidth(CGFloat) const {
  return view_->sizeThatFits().height;
}

void PublishingViewCell::layoutSubviews() {
  view_->setFrame(bounds());
}
