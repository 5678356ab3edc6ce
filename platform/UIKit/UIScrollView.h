#pragma once

#include "platform/UIKit/UIView.h"

/// Shows a part of a content that may be higher than the view, and moves it: by wheel and touchpad, by dragging, and to
/// what gets the keyboard's focus. Main queue only.
class UIScrollView : public UIView {
  ZV_OBJECT(UIScrollView)
 public:
  UIScrollView();

  /// What is scrolled: views to be scrolled are added to it, in the content's coordinates.
  const Strong<UIView>& contentView() const { return content_; }
  CGSize contentSize() const { return content_->bounds().size; }
  void setContentSize(CGSize size);
  /// The point of the content at the view's upper left corner, kept within the content.
  CGPoint contentOffset() const { return offset_; }
  void setContentOffset_animated(CGPoint offset, bool animated);
  /// Moves no further than needed for `rect` (of the content) to be seen, with a little room around it; of one that is
  /// higher than the view, the upper edge.
  void scrollRectToVisible_animated(CGRect rect, bool animated);

  bool handleScroll(CGPoint delta) override;
  void layoutSubviews() override;

 protected:
  void didMoveToWindow() override;

 private:
  void place();
  void showIndicator();
  CGPoint withinContent(CGPoint offset) const;

  Strong<UIView> content_, indicator_;
  CGPoint offset_;
  bool hasRecognizer_ = false;
};
