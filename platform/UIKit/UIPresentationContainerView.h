#pragma once

#include "platform/UIKit/UIPresentationController.h"
#include "platform/UIKit/UIView.h"

#include <optional>

/// What lies between the window and a presented view: the dimming, and the view's place. Takes every touch that the
/// presented view does not, so that nothing behind can be touched.
class UIPresentationContainerView : public UIView {
  ZV_OBJECT(UIPresentationContainerView)
 public:
  static Strong<UIPresentationContainerView> create(UIPresentationController& owner);

  const Strong<UIView>& dimmingView() const { return dimming_; }
  const Strong<UIView>& decoration() const { return decoration_; }
  /// The owner is not told of anything any more.
  void detach() { owner_.reset(); }

  void layoutSubviews() override;
  void handleTouch(const UITouch& touch) override;

 private:
  Weak<UIPresentationController> owner_;
  Strong<UIView> dimming_, decoration_;
  std::optional<int> trackedTouch_;
};
