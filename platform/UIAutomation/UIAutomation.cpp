#include "platform/UIAutomation/UIAutomation.h"

#include <utility>

namespace {

UIAutomation::Driver& storedDriver() {
  static UIAutomation::Driver driver;
  return driver;
}

}  // namespace

void UIAutomation::setDriver(Driver driver) {
  storedDriver() = std::move(driver);
}

const UIAutomation::Driver& UIAutomation::driver() {
  return storedDriver();
}
