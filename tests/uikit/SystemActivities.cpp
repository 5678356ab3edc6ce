#include "tests/uikit/SystemActivities.h"

#include <utility>

namespace {

std::vector<Strong<UIActivity>>& current() {
  static std::vector<Strong<UIActivity>> activities;
  return activities;
}

}  // namespace

std::vector<Strong<UIActivity>> UISystemActivities() {
  return current();
}

void UISystemActivitiesPrepare(const std::string& /*subject*/, std::function<void()> then) {
  if (then) then();
}

void UISystemActivitiesSetRequiredFreeSpace(std::int64_t /*bytes*/) {}

void setSystemActivities(std::vector<Strong<UIActivity>> activities) {
  current() = std::move(activities);
}
