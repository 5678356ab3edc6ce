#include "platform/UIKit/UIActivity.h"

#include "platform/UIKit/UIViewController.h"

#include <utility>

ZV_REGISTER_CLASS(UIActivity, "UIActivity", NSObject, {})

bool UIActivity::canPerformWithActivityItems(const std::vector<UIActivityItem>& /*items*/) {
  return false;
}

void UIActivity::prepareWithActivityItems(const std::vector<UIActivityItem>& /*items*/) {}

void UIActivity::performActivity() {
  activityDidFinish(true);
}

Strong<UIViewController> UIActivity::activityPresenter() const {
  auto front = presenter_.lock();
  while (front && front->presentedViewController()) front = front->presentedViewController();
  return front;
}

void UIActivity::setFinishHandler(std::function<void(bool completed)> handler) {
  finishHandler_ = std::move(handler);
}

void UIActivity::activityDidFinish(bool completed) {
  if (finished_) return;
  finished_ = true;
  // The handler may let go of the last reference to this activity.
  const auto keep = weak_from_this().lock();
  if (const auto handler = std::exchange(finishHandler_, nullptr)) handler(completed);
}
