#include "plugins/PublishToYouTube/PublishingStatusView.h"

#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <cmath>

ZV_REGISTER_CLASS(PublishingStatusView, "PublishingStatusView", UIView, {})

namespace {

constexpr CGFloat margin = 16, gap = 10, pointSize = 15, barHeight = 3, fieldHeight = 30, buttonHeight = 40;  // points
constexpr UIColor background{0.98F, 0.98F, 0.99F, 1};
constexpr UIColor lineColor{0.78F, 0.78F, 0.8F, 1};
constexpr UIColor failureColor{0.75F, 0.07F, 0.05F, 1};
constexpr UIColor buttonColor{0.9F, 0.94F, 1, 1}, pressedColor{0.78F, 0.86F, 1, 1}, titleColor{0, 0.42F, 0.9F, 1};

}  // namespace

PublishingStatusView::PublishingStatusView()
    : line_(std::make_shared<UIView>()),
      text_(std::make_shared<UILabel>()),
      bar_(std::make_shared<UIProgressView>()),
      address_(std::make_shared<UITextField>()),
      button_(std::make_shared<UIPanelButton>()) {
  setBackgroundColor(background);
  line_->setBackgroundColor(lineColor);
  text_->setFont(UIFont::systemFontOfSize(pointSize));
  text_->setNumberOfLines(0);
  address_->setFont(UIFont::systemFontOfSize(pointSize));
  address_->setBackgroundColor(UIColor::whiteColor());
  button_->setColors(buttonColor, pressedColor);
  button_->titleLabel()->setTextColor(titleColor);
  for (const Strong<UIView>& view : std::initializer_list<Strong<UIView>>{line_, text_, bar_, address_, button_}) {
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
  address_->setHidden(status_.address.empty());
  address_->setAccessibilityLabel(status_.text);
  address_->setText(status_.address);
  button_->setHidden(status_.button.empty());
  button_->setTitle(status_.button);
  button_->setHandler(status_.pressed);
  setHidden(status_.text.empty());
  setNeedsLayout();
}

CGFloat PublishingStatusView::heightForWidth(CGFloat width) const {
  if (status_.text.empty()) return 0;
  const CGFloat room = std::max(width - 2 * margin, 1.0F);
  CGFloat height = 2 * gap + std::ceil(UITextSizeInWidth(status_.text, text_->font(), room).height);
  if (status_.progress) height += gap + barHeight;
  if (!status_.address.empty()) height += gap + fieldHeight;
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
  place(*address_, fieldHeight);
  place(*button_, buttonHeight);
}
