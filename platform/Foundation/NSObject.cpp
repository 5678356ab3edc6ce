#include "platform/Foundation/NSObject.h"

#include <algorithm>

Class NSObject::staticClass() {
  static const Class cls = runtime::registerClass(
      std::make_unique<ClassInfo>("NSObject", nullptr, nullptr, std::unordered_map<std::string, IMP>{}));
  return cls;
}

NSObject::~NSObject() = default;

bool NSObject::respondsToSelector(SEL selector) const {
  return class_()->implementation(selector) != nullptr;
}

std::shared_ptr<NSObject> NSObject::performSelector(SEL selector) {
  return performSelector_withObject(selector, nullptr);
}

std::shared_ptr<NSObject> NSObject::performSelector_withObject(SEL selector, const std::shared_ptr<NSObject>& object) {
  const IMP* implementation = class_()->implementation(selector);
  if (!implementation) return nullptr;
  const IMP body = *implementation;  // copied: the method may exchange itself
  return body(*this, object);
}

bool NSObject::isKindOfClass(Class cls) const {
  return class_()->isSubclassOf(cls);
}

void NSObject::addObserver_forKeyPath(const std::shared_ptr<NSObject>& observer, std::string_view keyPath) {
  observations_.push_back({observer, observer.get(), std::string(keyPath)});
}

void NSObject::removeObserver_forKeyPath(const NSObject* observer, std::string_view keyPath) {
  const auto found = std::find_if(observations_.begin(), observations_.end(), [&](const Observation& observation) {
    return observation.identity == observer && observation.keyPath == keyPath;
  });
  if (found != observations_.end()) observations_.erase(found);
}

void NSObject::didChangeValueForKey(std::string_view key) {
  // A copy, because an observer may add or remove registrations; it also keeps this object alive until all are told.
  const std::shared_ptr<NSObject> self = shared_from_this();
  const std::vector<Observation> told = observations_;
  for (const Observation& observation : told) {
    if (observation.keyPath != key) continue;
    if (const std::shared_ptr<NSObject> observer = observation.observer.lock()) {
      observer->observeValueForKeyPath_ofObject_change_context(key, self, nullptr, nullptr);
    }
  }
}

void NSObject::observeValueForKeyPath_ofObject_change_context(std::string_view, const std::shared_ptr<NSObject>&,
                                                              const void*, void*) {}
