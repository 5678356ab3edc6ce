#include "platform/UIKit/UIActivityCell.h"

#include "platform/UIKit/UIControl.h"
#include "platform/UIKit/UILineHeight.h"

#include <algorithm>
#include <cmath>

ZV_REGISTER_CLASS(UIActivityCell, "UIActivityCell", UIView, {})

namespace {

// Points.
constexpr CGFloat topMargin = 8, labelGap = 6, labelMargin = 2, labelHeight = 28;
constexpr CGFloat tileRadius = 13.5F;
/// A picture smaller than this is a symbol that stands on a tile; a larger one is a tile of its own.
constexpr CGFloat leastWholeTile = 50;
constexpr CGFloat dragDistance = 8;
constexpr float pressedAlpha = 0.5F;
const UIColor tileColor = UIColor::whiteColor(), letterTileColor{0.56F, 0.56F, 0.58F, 1};

/// The first letter, however many bytes it has.
std::string firstLetter(const std::string& text) {
  std::size_t end = std::min<std::size_t>(1, text.size());
  while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) ++end;
  return text.substr(0, end);
}

}  // namespace

Strong<UIActivityCell> UIActivityCell::create(const Strong<UIActivity>& activity, std::function<void()> handler) {
  auto self = std::make_shared<UIActivityCell>();
  self->activity_ = activity;
  self->handler_ = std::move(handler);
  const Strong<UIImage> image = activity->activityImage();
  const bool whole = image && std::min(image->size().width, image->size().height) >= leastWholeTile;
  self->tile_ = std::make_shared<UICardView>();
  self->tile_->setCornerRadius(tileRadius);
  self->tile_->setColor(image ? tileColor : letterTileColor);
  self->tile_->setHidden(whole);
  self->tile_->setUserInteractionEnabled(false);
  self->addSubview(self->tile_);
  if (image) {
    self->icon_ = UIImageView::initWithImage(image);
    self->addSubview(self->icon_);
  } else {
    self->letter_ = std::make_shared<UILabel>();
    self->letter_->setText(firstLetter(activity->activityTitle()));
    self->letter_->setFont(UIFont::semiboldSystemFontOfSize(28));
    self->letter_->setTextColor(UIColor::whiteColor());
    self->letter_->setTextAlignment(NSTextAlignment::Center);
    self->letter_->setAccessibilityElementsHidden(true);
    self->addSubview(self->letter_);
  }
  self->title_ = std::make_shared<UILabel>();
  self->title_->setText(activity->activityTitle());
  self->title_->setFont(UIFont::systemFontOfSize(11));
  self->title_->setTextAlignment(NSTextAlignment::Center);
  self->title_->setNumberOfLines(2);
  self->title_->setAccessibilityElementsHidden(true);
  self->addSubview(self->title_);
  self->setAccessibilityLabel(activity->activityTitle());
  return self;
}

void UIActivityCell::layoutSubviews() {
  const CGFloat width = bounds().size.width;
  const CGRect tile = CGRectMake(std::round((width - iconSize) / 2), topMargin, iconSize, iconSize);
  tile_->setFrame(tile);
  if (letter_) letter_->setFrame(tile);
  if (icon_) {
    const CGSize size = icon_->image()->size();
    const CGFloat scale = std::min(1.0F, iconSize / std::max({size.width, size.height, 1.0F}));
    icon_->setFrame(tile_->isHidden() ? tile
                                      : CGRectMake(tile.origin.x + std::round((iconSize - size.width * scale) / 2),
                                                   tile.origin.y + std::round((iconSize - size.height * scale) / 2),
                                                   size.width * scale, size.height * scale));
  }
  const CGFloat twoLines = UITwoLinesHeight(title_->text(), title_->font());
  title_->setFrame(
      CGRectMake(labelMargin, tile.maxY() + labelGap, width - 2 * labelMargin, std::max(labelHeight, twoLines)));
}

void UIActivityCell::setPressed(bool pressed) {
  for (const Strong<UIView>& view : {Strong<UIView>(tile_), Strong<UIView>(icon_), Strong<UIView>(letter_)}) {
    if (view) view->setAlpha(pressed ? pressedAlpha : 1.0F);
  }
}

void UIActivityCell::handleTouch(const UITouch& touch) {
  if (touch.phase == UITouchPhase::Began) {
    if (press_) return;
    press_ = Press{touch.identifier, touch.locationInWindow};
    setPressed(true);
    return;
  }
  if (!press_ || press_->identifier != touch.identifier) return;
  const bool strayed = std::abs(touch.locationInWindow.x - press_->start.x) > dragDistance ||
                       std::abs(touch.locationInWindow.y - press_->start.y) > dragDistance;
  if (touch.phase == UITouchPhase::Moved && !strayed) return;
  press_.reset();
  setPressed(false);
  if (touch.phase != UITouchPhase::Ended || strayed) return;
  const auto handler = handler_;
  handler();
}

std::vector<UIAccessibilityElement> UIActivityCell::accessibilityElements() {
  UIAccessibilityElement element;
  element.label = accessibilityLabel();
  element.frame = bounds();
  element.focusRingInsets = {2, 1, 2, 1};
  element.activate = handler_;
  return {element};
}
