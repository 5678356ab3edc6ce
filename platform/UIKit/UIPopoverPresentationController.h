#pragma once

#include "platform/UIKit/UIPresentationController.h"

#include <optional>

class UIBarButtonItem;
class UIPopoverBackgroundView;

/// Shows a view in a bubble whose arrow points at a bar item, and follows that item wherever it goes: into another
/// bar, or to another place when the window is resized. While the item is nowhere on screen, the bubble stands in the
/// middle, without an arrow. A touch beside it, or Escape, closes it.
class UIPopoverPresentationController : public UIPresentationController {
 public:
  using UIPresentationController::UIPresentationController;

  /// Not owned by the popover; may be null.
  void setBarButtonItem(const Strong<UIBarButtonItem>& item);
  Strong<UIBarButtonItem> barButtonItem() const { return item_.lock(); }

  void observeValueForKeyPath_ofObject_change_context(std::string_view keyPath, const Strong<NSObject>& object,
                                                      const void* change, void* context) override;

 protected:
  CGRect frameOfPresentedViewInContainerView(CGSize container) override;
  bool fades() const override { return true; }
  float dimming(CGSize container) override;
  bool dismissesByTouchOutside() const override { return true; }
  Strong<UIView> makeDecoration() override;
  void layoutDecoration(UIView& decoration, CGRect presentedFrame) override;
  void containerDidAppear() override;
  void containerWillDisappear() override;

 private:
  struct Place {
    CGRect frame;                ///< of the presented view
    bool arrowPointsUp = false;  ///< the bubble stands below what it points at
    std::optional<CGPoint> tip;  ///< of the arrow
  };
  Place place(CGSize container);
  std::optional<CGRect> anchor();

  Weak<UIBarButtonItem> item_;
};
