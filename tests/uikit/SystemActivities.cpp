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

void setSystemActivities(std::vector<Strong<UIActivity>> activities) {
  current() = std::move(activities);
}
