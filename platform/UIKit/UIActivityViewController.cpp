#include "platform/UIKit/UIActivityViewController.h"

#include "platform/UIKit/UIEvent.h"
#include "platform/UIKit/UIScreen.h"
#include "platform/UIKit/UISystemActivities.h"
#include "platform/UIKit/UIWindow.h"

#include <algorithm>
#include <utility>

ZV_REGISTER_CLASS(UIActivityViewController, "UIActivityViewController", UIViewController, {})

namespace {

/// At the bottom of the window, in its middle when it is wide.
class SheetPresentation : public UIPresentationController {
 public:
  using UIPresentationController::UIPresentationController;

 protected:
  CGRect frameOfPresentedViewInContainerView(CGSize container) override {
    constexpr CGFloat margin = 8, mostWide = 480, leastFree = 20;  // points
    const CGSize room{std::clamp(container.width - 2 * margin, 0.0F, mostWide),
                      std::max(container.height - margin - leastFree, 0.0F)};
    const CGSize size = presentedViewController()->preferredContentSizeThatFits(room);
    return CGRectMake((container.width - room.width) / 2, container.height - margin - size.height, room.width,
                      size.height);
  }
  float dimming(CGSize) override { return 0.4F; }
  bool dismissesByTouchOutside() const override { return true; }
};

/// Where an activity stands by itself.
enum class Rank { SystemShare, Application, SystemAction };

struct Ranked {
  Strong<UIActivity> activity;
  Rank rank;
};

}  // namespace

Strong<UIActivityViewController> UIActivityViewController::initWithActivityItems_applicationActivities(
    std::vector<UIActivityItem> items, const std::vector<Strong<UIActivity>>& applicationActivities) {
  auto self = std::make_shared<UIActivityViewController>();
  self->items_ = std::move(items);
  std::vector<Ranked> able;
  const auto ask = [&](const Strong<UIActivity>& activity, Rank rank) {
    if (activity && activity->canPerformWithActivityItems(self->items_)) able.push_back({activity, rank});
  };
  for (const auto& activity : UISystemActivities()) {
    const bool shares = activity && activity->activityCategory() == UIActivityCategory::Share;
    ask(activity, shares ? Rank::SystemShare : Rank::SystemAction);
  }
  for (const auto& activity : applicationActivities) ask(activity, Rank::Application);
  std::stable_sort(able.begin(), able.end(), [](const Ranked& a, const Ranked& b) { return a.rank < b.rank; });
  for (const Ranked& each : able) self->activities_.push_back(each.activity);
  return self;
}

void UIActivityViewController::setActivityTypeOrder(const std::vector<std::string>& types) {
  const auto place = [&](const Strong<UIActivity>& activity) {
    return std::find(types.begin(), types.end(), activity->activityType()) - types.begin();
  };
  std::stable_sort(activities_.begin(), activities_.end(),
                   [&](const auto& a, const auto& b) { return place(a) < place(b); });
}

void UIActivityViewController::setCompletionWithItemsHandler(CompletionWithItemsHandler handler) {
  handler_ = std::move(handler);
}

void UIActivityViewController::setPreview(const Strong<UIImage>& image, const std::string& detail,
                                          const std::string& fileName) {
  previewImage_ = image;
  previewDetail_ = detail;
  previewName_ = fileName;
}

bool UIActivityViewController::isPopover() const {
  return modalPresentationStyle() == UIModalPresentationStyle::Popover;
}

Strong<UIPresentationController> UIActivityViewController::makePresentationController() {
  if (isPopover()) return UIViewController::makePresentationController();
  return std::make_shared<SheetPresentation>(std::static_pointer_cast<UIViewController>(shared_from_this()));
}

void UIActivityViewController::cancelPresentation() {
  if (picked_ || isBeingDismissed()) return;
  dismissViewControllerAnimated_completion(
      true,
      [self = std::static_pointer_cast<UIActivityViewController>(shared_from_this())] { self->report({}, false); });
}

void UIActivityViewController::pick(const Strong<UIActivity>& activity) {
  if (picked_ || isBeingDismissed() || !presentingViewController()) return;
  const auto self = std::static_pointer_cast<UIActivityViewController>(shared_from_this());
  picked_ = activity;
  picked_->setActivityPresenter(presentingViewController());
  window_ = view()->window();
  window_->addBackgroundController(self);
  dismissViewControllerAnimated_completion(true, [self] { self->carryOut(); });
}

void UIActivityViewController::carryOut() {
  const auto activity = picked_;
  if (!activity) return;  // the window has closed meanwhile
  activity->setFinishHandler([weak = weak_from_this()](bool completed) {
    if (const auto self = weak.lock()) static_cast<UIActivityViewController&>(*self).activityDidEnd(completed);
  });
  if (mayCarryOut_ && !mayCarryOut_()) return activityDidEnd(false);
  activity->prepareWithActivityItems(items_);
  if (activity->isFinished()) return;
  const auto controller = activity->activityViewController();
  if (!controller) {
    activity->performActivity();
    return;
  }
  const auto presenter = activity->activityPresenter();
  if (presenter) presenter->presentViewController_animated_completion(controller, true, nullptr);
  activityController_ = controller;
  if (!controller->presentingViewController()) activity->activityDidFinish(false);
}

void UIActivityViewController::activityDidEnd(bool completed) {
  const auto self = shared_from_this();
  const auto activity = std::exchange(picked_, nullptr);
  if (!activity) return;
  const auto controller = activityController_.lock();
  const auto presenter = controller ? controller->presentingViewController() : nullptr;
  if (presenter && !controller->isBeingDismissed()) presenter->dismissViewControllerAnimated_completion(true, nullptr);
  std::exchange(window_, nullptr)->removeBackgroundController(this);
  report(activity->activityType(), completed);
}

void UIActivityViewController::windowDidClose() {
  // Nobody waits for the outcome any more.
  window_ = nullptr;
  handler_ = nullptr;
  if (const auto activity = std::exchange(picked_, nullptr)) activity->activityDidFinish(false);
}

void UIActivityViewController::report(const std::string& type, bool completed) {
  const auto handler = std::exchange(handler_, nullptr);
  mayCarryOut_ = nullptr;
  if (handler) handler(type, completed, {}, nullptr);
}
