// Where views stand: frames, autoresizing masks, constraints, layout passes.

#include "platform/QuartzCore/CATransaction.h"
#include "platform/UIKit/ConstraintSolver.h"
#include "platform/UIKit/UIView.h"
#include "platform/UIKit/UIViewController.h"

#include <algorithm>

namespace {

/// How often one pass may ask for another before it is stopped: two views that always undo each other's layout must
/// not hang the program.
constexpr int mostPassesInARow = 8;

/// One axis of a view in its superview: shares a change of the superview's length among the parts that give way, in
/// proportion to their length, or equally when they have none.
void resizeAxis(float& start, float& length, float oldTotal, float newTotal, bool marginBefore, bool flexibleLength,
                bool marginAfter) {
  if (!marginBefore && !flexibleLength) return;  // all of the change goes behind the view
  const float before = marginBefore ? start : 0;
  const float inside = flexibleLength ? length : 0;
  const float after = marginAfter ? oldTotal - start - length : 0;
  const float sum = before + inside + after;
  const float change = newTotal - oldTotal;
  float shareBefore, shareInside;
  if (sum > 0 && before >= 0 && inside >= 0 && after >= 0) {
    shareBefore = before / sum;
    shareInside = inside / sum;
  } else {
    const float parts = static_cast<float>(marginBefore + flexibleLength + marginAfter);
    shareBefore = static_cast<float>(marginBefore) / parts;
    shareInside = static_cast<float>(flexibleLength) / parts;
  }
  start += change * shareBefore;
  length = std::max(length + change * shareInside, 0.0f);
}

}  // namespace

void UIView::setFrame(CGRect frame) {
  const CGRect old = layer_->frame();
  if (frame == old) return;
  layer_->setFrame(frame);
  frameDidChange();
  if (frame.size == old.size) return;
  resizeSubviews(old.size);
  setNeedsLayout();
}

void UIView::resizeSubviews(CGSize oldSize) {
  const CGSize size = bounds().size;
  const auto views = subviews_;
  for (const auto& view : views) {
    const UIViewAutoresizing mask = view->autoresizingMask_;
    if (!view->translatesMask_ || mask == UIViewAutoresizingNone) continue;
    CGRect frame = view->frame();
    resizeAxis(frame.origin.x, frame.size.width, oldSize.width, size.width, mask & UIViewAutoresizingFlexibleLeftMargin,
               mask & UIViewAutoresizingFlexibleWidth, mask & UIViewAutoresizingFlexibleRightMargin);
    resizeAxis(frame.origin.y, frame.size.height, oldSize.height, size.height,
               mask & UIViewAutoresizingFlexibleTopMargin, mask & UIViewAutoresizingFlexibleHeight,
               mask & UIViewAutoresizingFlexibleBottomMargin);
    view->setFrame(frame);
  }
}

void UIView::frameDidChange() {
  for (UIView* above = superview_; above; above = above->superview_) {
    if (above->placingSubviews_ || above->needsLayout_) continue;
    const bool concerned =
        std::any_of(above->constraints_.begin(), above->constraints_.end(), [this](const auto& constraint) {
          return constraint->firstItem().get() == this || constraint->secondItem().get() == this;
        });
    if (concerned) above->setNeedsLayout();
  }
}

void UIView::addConstraint(const Strong<NSLayoutConstraint>& constraint) {
  if (!constraint || std::find(constraints_.begin(), constraints_.end(), constraint) != constraints_.end()) return;
  constraints_.push_back(constraint);
  setNeedsLayout();
}

void UIView::removeConstraint(const Strong<NSLayoutConstraint>& constraint) {
  if (std::erase(constraints_, constraint) > 0) setNeedsLayout();
}

void UIView::setNeedsLayout() {
  needsLayout_ = true;
  CATransaction::setNeedsCommit();
}

void UIView::layoutIfNeeded() {
  // Laying out one view may ask for the layout of another that has had its turn.
  for (int pass = 0; pass < mostPassesInARow && layoutTree(); ++pass) {
  }
}

bool UIView::layoutTree() {
  const auto keep = weak_from_this().lock();
  bool any = needsLayout_;
  if (needsLayout_) layoutPass();
  const auto views = subviews_;
  for (const auto& view : views) {
    if (view->layoutTree()) any = true;
  }
  return any;
}

void UIView::layoutPass() {
  needsLayout_ = false;
  applyConstraints();
  layoutSubviews();
  if (controller_) controller_->viewDidLayoutSubviews();
}

void UIView::applyConstraints() {
  std::erase_if(constraints_, [](const auto& constraint) {
    return !constraint->firstItem() || (constraint->refersToSecondItem() && !constraint->secondItem());
  });
  if (constraints_.empty()) return;
  placingSubviews_ = true;
  UIPlaceSubviewsByConstraints(*this, constraints_);
  placingSubviews_ = false;
}
