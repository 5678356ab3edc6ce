#include "platform/Foundation/NSNotificationCenter.h"

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
  static NSNotificationCenter& center = *new NSNotificationCenter;  // observers may go away at exit
  return center;
}

void NSNotificationCenter::addObserver_selector_name_object(const Strong<NSObject>& observer, SEL selector,
                                                            std::string name, const Strong<NSObject>& object) {
  const std::lock_guard lock(mutex_);
  registrations_.push_back({observer, observer.get(), std::move(selector), std::move(name), object, object.get()});
}

void NSNotificationCenter::removeObserver(const NSObject* observer) {
  const std::lock_guard lock(mutex_);
  std::erase_if(registrations_, [&](const Registration& registration) {
    return registration.identity == observer || registration.observer.expired();
  });
}

void NSNotificationCenter::postNotificationName_object(const std::string& name, const Strong<NSObject>& object) {
  std::vector<std::pair<Strong<NSObject>, SEL>> receivers;
  {
    const std::lock_guard lock(mutex_);
    for (const Registration& registration : registrations_) {
      if (registration.name != name) continue;
      if (registration.objectIdentity && registration.object.lock() != object) continue;
      if (Strong<NSObject> observer = registration.observer.lock()) {
        receivers.emplace_back(std::move(observer), registration.selector);
      }
    }
  }
  const auto notification = std::make_shared<NSNotification>(name, object);
  for (const auto& [observer, selector] : receivers) observer->performSelector_withObject(selector, notification);
}
