#pragma once

#include "platform/UIKit/UIBarButtonItem.h"

#include <string>

class UINavigationBar;

/// What a bar shows of one view controller: a title, and a button at each end. Main queue only.
class UINavigationItem : public NSObject {
 public:
  const std::string& title() const { return title_; }
  void setTitle(std::string title);
  const Strong<UIBarButtonItem>& leftBarButtonItem() const { return left_; }
  void setLeftBarButtonItem(const Strong<UIBarButtonItem>& item);
  const Strong<UIBarButtonItem>& rightBarButtonItem() const { return right_; }
  void setRightBarButtonItem(const Strong<UIBarButtonItem>& item);

 private:
  friend class UINavigationBar;
  void didChange();

  std::string title_;
  Strong<UIBarButtonItem> left_, right_;
  Weak<UINavigationBar> bar_;
};
