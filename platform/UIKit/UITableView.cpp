#include "platform/UIKit/UITableView.h"

#include "platform/UIKit/UILayoutDirection.h"
#include "platform/UIKit/UIScreen.h"

#include <cmath>
#include <utility>

ZV_REGISTER_CLASS(UITableView, "UITableView", UIScrollView, {})

namespace {

constexpr CGFloat notePointSize = 13, noteGap = 6, sectionGap = 22;  // points
constexpr UIColor background{0.949F, 0.949F, 0.969F, 1};
constexpr UIColor noteColor{0.42F, 0.42F, 0.45F, 1};
constexpr UIColor lineColor{0.78F, 0.78F, 0.8F, 1};

Strong<UILabel> noteLabel(const std::string& text) {
  auto label = std::make_shared<UILabel>();
  label->setFont(UIFont::systemFontOfSize(notePointSize));
  label->setTextColor(noteColor);
  label->setNumberOfLines(0);
  label->setText(text);
  return label;
}

/// As thin as the screen allows, and on its grid, or it might fall between two rows of pixels.
CGRect hairline(CGFloat x, CGFloat y, CGFloat width) {
  const float scale = UIScreen::mainScreen().scale();
  return CGRectMake(x, std::round(y * scale) / scale, width, 1 / scale);
}

}  // namespace

UITableView::UITableView() {
  setBackgroundColor(background);
}

void UITableView::setSections(std::vector<Section> sections) {
  while (!contentView()->subviews().empty()) contentView()->subviews().back()->removeFromSuperview();
  sections_.clear();
  for (auto& section : sections) {
    Shown shown{std::move(section), nullptr, nullptr, {}};
    shown.header = noteLabel(shown.section.header);
    shown.footer = noteLabel(shown.section.footer);
    contentView()->addSubview(shown.header);
    contentView()->addSubview(shown.footer);
    for (const auto& cell : shown.section.cells) {
      cell->heightHandler_ = [this] { setNeedsLayout(); };
      contentView()->addSubview(cell);
    }
    for (std::size_t i = 0; i <= shown.section.cells.size(); ++i) {
      auto line = std::make_shared<UIView>();
      line->setBackgroundColor(lineColor);
      line->setUserInteractionEnabled(false);
      contentView()->addSubview(line);
      shown.lines.push_back(std::move(line));
    }
    sections_.push_back(std::move(shown));
  }
  setNeedsLayout();
}

void UITableView::setFooter_forSection(std::string footer, int section) {
  if (section < 0 || section >= numberOfSections()) return;
  Shown& shown = sections_[static_cast<std::size_t>(section)];
  if (footer == shown.section.footer) return;
  shown.footer->setText(footer);
  shown.section.footer = std::move(footer);
  setNeedsLayout();
}

int UITableView::numberOfRowsInSection(int section) const {
  if (section < 0 || section >= numberOfSections()) return 0;
  return static_cast<int>(sections_[static_cast<std::size_t>(section)].section.cells.size());
}

Strong<UITableViewCell> UITableView::cellForRowAtIndexPath(const NSIndexPath& path) const {
  if (path.item < 0 || path.item >= numberOfRowsInSection(path.section)) return nullptr;
  return sections_[static_cast<std::size_t>(path.section)].section.cells[static_cast<std::size_t>(path.item)];
}

CGRect UITableView::rectForRowAtIndexPath(const NSIndexPath& path) const {
  const auto cell = cellForRowAtIndexPath(path);
  return cell ? cell->frame() : CGRectZero;
}

CGFloat UITableView::place(Shown& shown, CGFloat y, CGFloat width) {
  const CGFloat margin = UITableViewCell::margin, room = std::max(width - 2 * margin, 1.0F);
  const auto placeNote = [&](UILabel& label) {
    label.setHidden(label.text().empty());
    if (label.isHidden()) return;
    const CGFloat height = std::ceil(UITextSizeInWidth(label.text(), label.font(), room).height);
    label.setFrame(CGRectMake(margin, y, room, height));
    y += height + noteGap;
  };
  placeNote(*shown.header);
  const auto& cells = shown.section.cells;
  std::size_t last = cells.size();
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (!cells[i]->isHidden()) last = i;
  }
  shown.lines[0]->setFrame(hairline(0, y, width));
  shown.lines[0]->setHidden(last == cells.size());
  for (std::size_t i = 0; i < cells.size(); ++i) {
    shown.lines[i + 1]->setHidden(cells[i]->isHidden());
    if (cells[i]->isHidden()) continue;
    const CGFloat height = cells[i]->heightForWidth(width);
    cells[i]->setFrame(CGRectMake(0, y, width, height));
    y += height;
    const CGFloat left = i == last ? 0 : margin;
    shown.lines[i + 1]->setFrame(
        UIRectInLayoutDirection(hairline(left, y - 1 / UIScreen::mainScreen().scale(), width - left), width));
  }
  y += noteGap;
  placeNote(*shown.footer);
  return y;
}

void UITableView::layoutSubviews() {
  const CGFloat width = bounds().size.width;
  CGFloat y = sectionGap;
  for (auto& shown : sections_) y = place(shown, y, width) + sectionGap - noteGap;
  setContentSize({width, y});
  UIScrollView::layoutSubviews();
}
