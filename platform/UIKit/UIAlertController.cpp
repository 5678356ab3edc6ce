#include "platform/UIKit/UIAlertController.h"

#include "platform/UIKit/UIEvent.h"
#include "platform/UIKit/UILayoutDirection.h"
#include "platform/UIKit/UIScreen.h"

#include <algorithm>
#include <cmath>
#include <utility>

ZV_REGISTER_CLASS(UIAlertController, "UIAlertController", UIViewController, {})

namespace {

// Points.
constexpr CGFloat alertWidth = 270, alertRadius = 13;
constexpr CGFloat textMargin = 16, textTop = 19, textBottom = 19, textGap = 4;
constexpr CGFloat buttonHeight = 44, buttonTitleMargin = 8;
constexpr CGFloat windowMargin = 16;
constexpr float behindDimming = 0.4F;
const UIFont titleFont = UIFont::semiboldSystemFontOfSize(17), messageFont = UIFont::systemFontOfSize(13);
constexpr CGFloat buttonFontSize = 17;
const UIColor alertColor{0.97F, 0.97F, 0.975F, 0.98F}, lineColor{0.24F, 0.24F, 0.26F, 0.29F},
    destructiveRed{1, 0.23F, 0.19F, 1};

class AlertPresentation : public UIPresentationController {
 public:
  using UIPresentationController::UIPresentationController;

 protected:
  CGRect frameOfPresentedViewInContainerView(CGSize container) override {
    const CGSize room{std::max(container.width - 2 * windowMargin, 0.0F),
                      std::max(container.height - 2 * windowMargin, 0.0F)};
    const CGSize size = presentedViewController()->preferredContentSizeThatFits(room);
    return {{std::round((container.width - size.width) / 2), std::round((container.height - size.height) / 2)}, size};
  }
  bool fades() const override { return true; }
  float dimming(CGSize) override { return behindDimming; }
};

UIFont fontFor(const UIAlertAction& action, const UIAlertAction* emphasized) {
  return &action == emphasized ? UIFont::semiboldSystemFontOfSize(buttonFontSize)
                               : UIFont::systemFontOfSize(buttonFontSize);
}

/// The height of a text in the alert, with the little room that its last line needs below.
CGFloat heightOf(const std::string& text, const UIFont& font, CGFloat width) {
  return text.empty() ? 0 : std::ceil(UITextSizeInWidth(text, font, width).height) + 2;
}

bool isCancel(const Strong<UIAlertAction>& action) {
  return action->style() == UIAlertActionStyle::Cancel;
}

}  // namespace

Strong<UIAlertController> UIAlertController::alertControllerWithTitle_message_preferredStyle(std::string title,
                                                                                             std::string message,
                                                                                             UIAlertControllerStyle) {
  auto self = std::make_shared<UIAlertController>();
  self->title_ = std::move(title);
  self->message_ = std::move(message);
  self->setModalPresentationStyle(UIModalPresentationStyle::OverFullScreen);
  return self;
}

void UIAlertController::addAction(const Strong<UIAlertAction>& action) {
  if (action && !isViewLoaded()) actions_.push_back(action);
}

void UIAlertController::setPreferredAction(const Strong<UIAlertAction>& action) {
  preferred_ = action;
}

Strong<UIPresentationController> UIAlertController::makePresentationController() {
  return std::make_shared<AlertPresentation>(std::static_pointer_cast<UIViewController>(shared_from_this()));
}

Strong<UIAlertAction> UIAlertController::actionForReturn() const {
  if (preferred_) return preferred_;
  const auto found = std::find_if(actions_.begin(), actions_.end(),
                                  [](const auto& a) { return a->style() == UIAlertActionStyle::Default; });
  if (found != actions_.end()) return *found;
  return actions_.size() == 1 ? actions_.front() : nullptr;
}

Strong<UIAlertAction> UIAlertController::actionForEscape() const {
  const auto found = std::find_if(actions_.begin(), actions_.end(), isCancel);
  if (found != actions_.end()) return *found;
  return actions_.size() == 1 ? actions_.front() : nullptr;
}

Strong<UIAlertAction> UIAlertController::emphasizedAction() const {
  const auto byReturn = actionForReturn();
  return byReturn ? byReturn : actionForEscape();
}

void UIAlertController::choose(const Strong<UIAlertAction>& action) {
  if (answered_) return;
  answered_ = true;
  dismissViewControllerAnimated_completion(true, [action] {
    if (action->handler()) action->handler()(*action);
  });
}

bool UIAlertController::keyPressed(const UIKey& key) {
  if (key.control || (key.name != "Return" && key.name != "Escape")) return false;
  const auto action = key.name == "Return" ? actionForReturn() : actionForEscape();
  if (action) choose(action);
  return action != nullptr;
}

void UIAlertController::viewDidLoad() {
  view()->setAutoresizingMask(UIViewAutoresizingNone);
  card_ = std::make_shared<UICardView>();
  card_->setColor(alertColor);
  card_->setCornerRadius(alertRadius);
  text_ = std::make_shared<UIScrollView>();
  const auto label = [&](const std::string& words, UIFont font) {
    auto made = std::make_shared<UILabel>();
    made->setText(words);
    made->setFont(font);
    made->setTextAlignment(NSTextAlignment::Center);
    made->setNumberOfLines(0);
    text_->contentView()->addSubview(made);
    return made;
  };
  titleLabel_ = label(title_, titleFont);
  messageLabel_ = label(message_, messageFont);
  view()->addSubview(card_);
  view()->addSubview(text_);

  auto inOrder = actions_;
  std::stable_sort(inOrder.begin(), inOrder.end(), [cancelFirst = isSideBySide()](const auto& a, const auto& b) {
    return cancelFirst ? isCancel(a) && !isCancel(b) : !isCancel(a) && isCancel(b);
  });
  const auto emphasized = emphasizedAction();
  for (const auto& action : inOrder) {
    const auto button = std::make_shared<UIPanelButton>();
    button->setTitle(action->title());
    button->titleLabel()->setFont(fontFor(*action, emphasized.get()));
    if (action->style() == UIAlertActionStyle::Destructive) button->titleLabel()->setTextColor(destructiveRed);
    button->setHandler([weak = weak_from_this(), action] {
      if (const auto self = weak.lock()) static_cast<UIAlertController&>(*self).choose(action);
    });
    buttons_.push_back(button);
    view()->addSubview(button);
    lines_.push_back(std::make_shared<UIView>());
    lines_.back()->setBackgroundColor(lineColor);
    lines_.back()->setUserInteractionEnabled(false);
    view()->addSubview(lines_.back());
  }
}

bool UIAlertController::isSideBySide() const {
  if (actions_.size() != 2) return false;
  const auto emphasized = emphasizedAction();
  return std::all_of(actions_.begin(), actions_.end(), [&](const auto& action) {
    const CGFloat width = UITextSize(action->title(), fontFor(*action, emphasized.get())).width;
    return width <= alertWidth / 2 - 2 * buttonTitleMargin;
  });
}

CGFloat UIAlertController::textHeight(CGFloat width) const {
  const CGFloat room = width - 2 * textMargin;
  const CGFloat title = heightOf(title_, titleFont, room), message = heightOf(message_, messageFont, room);
  return textTop + title + (title > 0 && message > 0 ? textGap : 0) + message + textBottom;
}

CGFloat UIAlertController::buttonsHeight() const {
  const auto rows = isSideBySide() ? 1 : actions_.size();
  return buttonHeight * static_cast<CGFloat>(rows);
}

CGSize UIAlertController::preferredContentSizeThatFits(CGSize room) {
  const CGFloat width = std::min(alertWidth, room.width);
  return {width, std::min(textHeight(width) + buttonsHeight(), room.height)};
}

void UIAlertController::viewDidLayoutSubviews() {
  const CGSize size = view()->bounds().size;
  card_->setFrame({{0, 0}, size});
  const CGFloat buttonsTop = std::max(size.height - buttonsHeight(), 0.0F);
  text_->setFrame(CGRectMake(0, 0, size.width, buttonsTop));
  text_->setContentSize({size.width, textHeight(size.width)});
  const CGFloat room = size.width - 2 * textMargin;
  CGFloat y = textTop;
  for (const auto& label : {titleLabel_, messageLabel_}) {
    const CGFloat height = heightOf(label->text(), label->font(), room);
    label->setFrame(CGRectMake(textMargin, y, room, height));
    y += height + (height > 0 ? textGap : 0);
  }

  const CGFloat line = 1 / UIScreen::mainScreen().scale();
  const bool sideBySide = isSideBySide();
  for (std::size_t i = 0; i < buttons_.size(); ++i) {
    const auto index = static_cast<CGFloat>(i);
    const bool first = i == 0, last = i + 1 == buttons_.size();
    const CGRect frame =
        sideBySide
            ? CGRectMake(std::round(size.width / 2) * index, buttonsTop,
                         first ? std::round(size.width / 2) : size.width - std::round(size.width / 2), buttonHeight)
            : CGRectMake(0, buttonsTop + buttonHeight * index, size.width, buttonHeight);
    buttons_[i]->setFrame(sideBySide ? UIRectInLayoutDirection(frame, size.width) : frame);
    const bool atTheLeft = buttons_[i]->frame().origin.x < size.width / 2 - 1;
    const unsigned corners = sideBySide ? (atTheLeft ? UICardView::BottomLeft : UICardView::BottomRight)
                             : last     ? UICardView::BottomLeft | UICardView::BottomRight
                                        : 0U;
    buttons_[i]->card()->setCornerRadius(alertRadius, corners);
    lines_[i]->setFrame(sideBySide && !first
                            ? CGRectMake(std::round(size.width / 2), frame.origin.y, line, frame.size.height)
                            : CGRectMake(0, frame.origin.y, size.width, line));
  }
}
