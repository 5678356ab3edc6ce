#pragma once

#include "platform/Foundation/NSIndexPath.h"
#include "platform/UIKit/UIScrollView.h"
#include "platform/UIKit/UITableViewCell.h"

#include <string>
#include <vector>

/// Sections of rows, each with a heading above and a remark below, on grey. The cells are given once and stay; a hidden
/// cell takes no room but keeps its index path. Main queue only.
class UITableView : public UIScrollView {
  ZV_OBJECT(UITableView)
 public:
  struct Section {
    std::string header, footer;  ///< may be empty
    std::vector<Strong<UITableViewCell>> cells;
  };

  UITableView();

  void setSections(std::vector<Section> sections);
  void setFooter_forSection(std::string footer, int section);
  int numberOfSections() const { return static_cast<int>(sections_.size()); }
  int numberOfRowsInSection(int section) const;
  /// Null when there is no such row.
  Strong<UITableViewCell> cellForRowAtIndexPath(const NSIndexPath& path) const;
  /// Where the cell is in the content.
  CGRect rectForRowAtIndexPath(const NSIndexPath& path) const;

  void layoutSubviews() override;

 private:
  struct Shown {
    Section section;
    Strong<UILabel> header, footer;
    std::vector<Strong<UIView>> lines;  ///< above the first row, and below each
  };
  CGFloat place(Shown& shown, CGFloat y, CGFloat width);

  std::vector<Shown> sections_;
};
