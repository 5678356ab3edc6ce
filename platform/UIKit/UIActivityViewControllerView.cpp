// What the share sheet looks like, and how the keyboard moves in it.

#include "platform/Foundation/NSByteCountFormatter.h"
#include "platform/UIKit/UIActivityViewController.h"
#include "platform/UIKit/UIEvent.h"
#include "platform/UIKit/UIKitStrings.h"
#include "platform/UIKit/UILayoutDirection.h"
#include "platform/UIKit/UILineHeight.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>

namespace {

// Points.
constexpr CGFloat cardRadius = 14, cancelHeight = 57, cancelGap = 8;
constexpr CGFloat headlineHeight = 20;
constexpr CGFloat headPadding = 12, headMargin = 16, pictureSize = 44, pictureGap = 12;
constexpr CGFloat gridMargin = 8, gridPadding = 6, cellWidth = 84;
constexpr CGFloat popoverWidth = 4 * cellWidth + 2 * gridMargin;
const UIColor cardColor{0.96F, 0.96F, 0.965F, 0.98F}, lineColor{0.24F, 0.24F, 0.26F, 0.29F},
    detailColor{0.43F, 0.43F, 0.45F, 1};
const UIFont headlineFont = UIFont::semiboldSystemFontOfSize(15), detailFont = UIFont::systemFontOfSize(12);

/// The first text and the first file among the items.
std::pair<std::string, NSURL> headOf(const std::vector<UIActivityItem>& items) {
  std::pair<std::string, NSURL> head;
  for (const UIActivityItem& item : items) {
    if (const auto* text = std::get_if<std::string>(&item)) {
      if (head.first.empty()) head.first = *text;
    } else if (!head.second) {
      head.second = std::get<NSURL>(item);
    }
  }
  return head;
}

}  // namespace

void UIActivityViewController::viewDidLoad() {
  view()->setAutoresizingMask(UIViewAutoresizingNone);
  if (!isPopover()) {
    card_ = std::make_shared<UICardView>();
    card_->setColor(cardColor);
    card_->setCornerRadius(cardRadius);
    view()->addSubview(card_);
  }
  buildHead();
  grid_ = std::make_shared<UIScrollView>();
  view()->addSubview(grid_);
  for (const auto& activity : activities_) {
    cells_.push_back(UIActivityCell::create(activity, [weak = weak_from_this(), activity] {
      if (const auto self = weak.lock()) static_cast<UIActivityViewController&>(*self).pick(activity);
    }));
    grid_->contentView()->addSubview(cells_.back());
  }
  if (!isPopover()) {
    cancel_ = std::make_shared<UIPanelButton>();
    cancel_->setTitle(UIKitLocalizedString("Cancel"));
    cancel_->titleLabel()->setFont(UIFont::semiboldSystemFontOfSize(20));
    cancel_->card()->setCornerRadius(cardRadius);
    cancel_->setColors(UIColor::whiteColor(), UIColor::colorWithWhite_alpha(0.9F, 1));
    cancel_->setHandler([weak = weak_from_this()] {
      if (const auto self = weak.lock()) static_cast<UIActivityViewController&>(*self).cancelPresentation();
    });
    view()->addSubview(cancel_);
  }
}

void UIActivityViewController::buildHead() {
  const auto [text, file] = headOf(items_);
  if (previewImage_) {
    previewView_ = UIImageView::initWithImage(previewImage_);
    view()->addSubview(previewView_);
  }
  const auto label = [&](const std::string& words, UIFont font, UIColor color) {
    auto made = std::make_shared<UILabel>();
    made->setText(words);
    made->setFont(font);
    made->setTextColor(color);
    view()->addSubview(made);
    return made;
  };
  std::string detail = previewDetail_;
  const auto add = [&](const std::string& more) {
    if (!more.empty()) detail += (detail.empty() ? "" : " \u00b7 ") + more;
  };
  const std::string fileName = !file || !previewName_.empty() ? previewName_ : file.lastPathComponent();
  if (file) {
    std::error_code error;
    const auto bytes = std::filesystem::file_size(file.path(), error);
    if (!error) add(NSByteCountFormatter::stringFromByteCount(static_cast<std::int64_t>(bytes)));
    if (!text.empty()) add(fileName);
  }
  headline_ = label(text.empty() && file ? fileName : text, headlineFont, UIColor::blackColor());
  detail_ = label(detail, detailFont, detailColor);
  line_ = std::make_shared<UIView>();
  line_->setBackgroundColor(lineColor);
  view()->addSubview(line_);
}

CGFloat UIActivityViewController::headHeight() const {
  return 2 * headPadding + pictureSize;
}

int UIActivityViewController::columns(CGFloat width) const {
  return std::max(static_cast<int>((width - 2 * gridMargin) / cellWidth), 1);
}

CGFloat UIActivityViewController::gridHeight(CGFloat width) const {
  const int count = static_cast<int>(activities_.size()), across = columns(width);
  const int rows = std::max((count + across - 1) / across, 1);
  return 2 * gridPadding + UIActivityCell::height * static_cast<CGFloat>(rows);
}

CGSize UIActivityViewController::preferredContentSizeThatFits(CGSize room) {
  const CGFloat width = isPopover() ? std::min(room.width, popoverWidth) : room.width;
  const CGFloat below = isPopover() ? 0 : cancelGap + cancelHeight;
  return {width, std::min(headHeight() + gridHeight(width) + below, room.height)};
}

void UIActivityViewController::viewDidLayoutSubviews() {
  const CGSize size = view()->bounds().size;
  const CGFloat line = 1 / UIScreen::mainScreen().scale();
  CGFloat bottom = size.height;
  if (cancel_) {
    cancel_->setFrame(CGRectMake(0, size.height - cancelHeight, size.width, cancelHeight));
    bottom = std::max(size.height - cancelHeight - cancelGap, 0.0F);
    card_->setFrame(CGRectMake(0, 0, size.width, bottom));
  }
  // In a very low window the activities need the room more than the head does.
  const bool hasHead = bottom >= headHeight() + UIActivityCell::height;
  for (const Strong<UIView>& view :
       {Strong<UIView>(headline_), Strong<UIView>(detail_), line_, Strong<UIView>(previewView_)}) {
    if (view) view->setHidden(!hasHead);
  }
  const CGFloat top = hasHead ? headHeight() : 0;
  const auto place = [&](UIView& view, CGRect frame) { view.setFrame(UIRectInLayoutDirection(frame, size.width)); };
  CGFloat x = headMargin;
  if (previewView_) {
    const CGSize picture = previewImage_->size();
    const CGFloat scale = pictureSize / std::max({picture.width, picture.height, 1.0F});
    const CGSize shown{std::round(picture.width * scale), std::round(picture.height * scale)};
    place(*previewView_,
          CGRectMake(x + std::round((pictureSize - shown.width) / 2),
                     headPadding + std::round((pictureSize - shown.height) / 2), shown.width, shown.height));
    x += pictureSize + pictureGap;
  }
  const CGFloat textWidth = std::max(size.width - x - headMargin, 0.0F);
  const bool twoLines = UITextSize(headline_->text(), headlineFont).width > textWidth;
  headline_->setNumberOfLines(twoLines ? 2 : 1);
  const CGFloat higher =
      twoLines ? std::max(UITwoLinesHeight(headline_->text(), headlineFont) - 2 * headlineHeight, 0.0F) : 0;
  const CGFloat firstLine = 7 - std::floor(higher / 2), bothLines = 2 * headlineHeight + higher;
  place(*headline_,
        CGRectMake(x, twoLines ? firstLine : headPadding + 3, textWidth, twoLines ? bothLines : headlineHeight));
  place(*detail_, CGRectMake(x, twoLines ? firstLine + bothLines - 1 : headPadding + 24, textWidth, 17));
  line_->setFrame(CGRectMake(0, top - line, size.width, line));

  grid_->setFrame(CGRectMake(0, top, size.width, std::max(bottom - top, 0.0F)));
  grid_->setContentSize({size.width, gridHeight(size.width)});
  const int across = columns(size.width);
  const CGFloat width = (size.width - 2 * gridMargin) / static_cast<CGFloat>(across);
  for (std::size_t i = 0; i < cells_.size(); ++i) {
    const int row = static_cast<int>(i) / across, column = static_cast<int>(i) % across;
    place(*cells_[i],
          CGRectMake(gridMargin + width * static_cast<CGFloat>(column),
                     gridPadding + UIActivityCell::height * static_cast<CGFloat>(row), width, UIActivityCell::height));
  }
}

bool UIActivityViewController::keyPressed(const UIKey& key) {
  if (key.control) return false;
  if (key.name == "Escape") {
    cancelPresentation();
    return true;
  }
  if (key.name != "Left" && key.name != "Right" && key.name != "Up" && key.name != "Down") return false;
  const bool isMirrored = UIApplicationLayoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft;
  if (isMirrored && (key.name == "Left" || key.name == "Right")) {
    moveFocus(key.name == "Left" ? "Right" : "Left");
  } else {
    moveFocus(key.name);
  }
  return true;
}

void UIActivityViewController::moveFocus(const std::string& key) {
  UIWindow* window = view()->window();
  const int count = static_cast<int>(cells_.size());
  if (!window || count == 0) return;
  const auto focused = window->focusedView();
  const int across = columns(view()->bounds().size.width);
  const auto at = static_cast<int>(std::find(cells_.begin(), cells_.end(), focused) - cells_.begin());
  int next = 0;
  if (at < count) {
    next = key == "Left" ? at - 1 : key == "Right" ? at + 1 : key == "Up" ? at - across : at + across;
  } else if (focused && focused == cancel_) {
    next = key == "Up" || key == "Left" ? count - 1 : count;
  }
  if (next >= count && key == "Down" && cancel_) {
    window->setFocus(cancel_, cancel_->accessibilityLabel());
  } else if (next >= 0 && next < count) {
    const auto& cell = cells_[static_cast<std::size_t>(next)];
    window->setFocus(cell, cell->accessibilityLabel());
  }
}
