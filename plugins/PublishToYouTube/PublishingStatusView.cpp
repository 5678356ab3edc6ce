#include "plugins/PublishToYouTube/PublishingStatusView.h"

#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <cmath>

ZV_REGISTER_CLASS(PublishingStatusView, "PublishingStatusView", UIView, {})

namespace {

constexpr CGFloat margin = 16, gap = 10, pointSize = 15, barHeight = 3, buttonHeight = 40, radius = 8;  // points
constexpr CGFloat addressPointSize = 13, addressPadding = 8;
constexpr UIColor background{0.98F, 0.98F, 0.99F, 1};
constexpr UIColor lineColor{0.78F, 0.78F, 0.8F, 1};
constexpr UIColor addressColor{0.92F, 0.92F, 0.94F, 1};
constexpr UIColor failureColor{0.75F, 0.07F, 0.05F, 1};
constexpr UIColor buttonColor{0.9F, 0.94F, 1, 1}, pressedColor{0.78F, 0.86F, 1, 1}, titleColor{0, 0.42F, 0.9F, 1};

}  // namespace

PublishingStatusView::PublishingStatusView()
    : line_(std::make_shared<UIView>()),
      text_(std::make_shared<UILabel>()),
      bar_(std::make_shared<UIProgressView>()),
      addressCard_(std::make_shared<UICardView>()),
      address_(std::make_shared<UITextView>()),
      button_(std::make_shared<UIPanelButton>()) {
  setBackgroundColor(background);
  line_->setBackgroundColor(lineColor);
  text_->setFont(UIFont::systemFontOfSize(pointSize));
  text_->setNumberOfLines(0);
  addressCard_->setColor(addressColor);
  addressCard_->setCornerRadius(radius);
  addressCard_->layer()->setMasksToBounds(true);
  addressCard_->addSubview(address_);
  address_->setFont(UIFont::systemFontOfSize(addressPointSize));
  address_->setEditable(false);
  button_->setColors(buttonColor, pressedColor);
  button_->card()->setCornerRadius(radius);
  button_->titleLabel()->setTextColor(titleColor);
  for (const Strong<UIView>& view : std::initializer_list<Strong<UIView>>{line_, text_, bar_, addressCard_, button_}) {
    addSubview(view);
  }
  setStatus({});
}

void PublishingStatusView::setStatus(Status status) {
  status_ = std::move(status);
  text_->setText(status_.text);
  text_->setTextColor(status_.isFailure ? failureColor : UIColor::blackColor());
  bar_->setHidden(!status_.progress);
  bar_->setAccessibilityLabel(status_.text);
  bar_->setProgress_animated(status_.progress.value_or(0), false);
  addressCard_->setHidden(status_.address.empty());
  address_->setAccessibilityLabel(status_.text);
  address_->setText(status_.address);
  button_->setHidden(status_.button.empty());
  button_->setTitle(status_.button);
  button_->setHandler(status_.pressed);
  setHidden(status_.text.empty());
  setNeedsLayout();
}

CGFloat PublishingStatusView::addressHeight(CGFloat room) const {
  const CGFloat textRoom = std::max(room - 2 * addressPadding, 1.0F);
  return std::ceil(UITextSizeInWidth(status_.address, address_->font(), textRoom).height) + 2 * addressPadding;
}

CGFloat PublishingStatusView::heightForWidth(CGFloat width) const {
  if (status_.text.empty()) return 0;
  const CGFloat room = std::max(width - 2 * margin, 1.0F);
  CGFloat height = 2 * gap + std::ceil(UITextSizeInWidth(status_.text, text_->font(), room).height);
  if (status_.progress) height += gap + barHeight;
  if (!status_.address.empty()) height += gap + addressHeight(room);
  if (!status_.button.empty()) height += gap + buttonHeight;
  return height;
}

void PublishingStatusView::layoutSubviews() {
  const CGFloat width = bounds().size.width, room = std::max(width - 2 * margin, 1.0F);
  line_->setFrame(CGRectMake(0, 0, width, 1 / UIScreen::mainScreen().scale()));
  CGFloat y = gap;
  const auto place = [&](UIView& view, CGFloat height) {
    if (view.isHidden()) return;
    view.setFrame(CGRectMake(margin, y, room, height));
    y += height + gap;
  };
  place(*text_, std::ceil(UITextSizeInWidth(status_.text, text_->font(), room).height));
  place(*bar_, barHeight);
  // Where there is no room for all of it, the button counts for more than the end of the address.
  const CGFloat below = button_->isHidden() ? gap : gap + buttonHeight + gap;
  place(*addressCard_, std::clamp(bounds().size.height - below - y, 0.0F, addressHeight(room)));
  const CGFloat textRoom = std::max(room - 2 * addressPadding, 1.0F);
  // Down to where the line around it ends at the same distance from the edge as above.
  address_->setFrame(CGRectMake(addressPadding, addressPadding, textRoom, addressHeight(room) - addressPadding + 2));
  place(*button_, buttonHeight);
}
