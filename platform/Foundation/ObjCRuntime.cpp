#include "platform/Foundation/ObjCRuntime.h"

#include "platform/Foundation/NSObject.h"

#include <mutex>
#include <vector>

namespace {

struct Registry {
  std::mutex mutex;
  std::unordered_map<std::string, std::unique_ptr<ClassInfo>> classes;
  // Second registrations of a name: kept, because their classes refer to them, but not found.
  std::vector<std::unique_ptr<ClassInfo>> shadowed;
};

Registry& registry() {
  static Registry& instance = *new Registry;  // outlives every static destructor
  return instance;
}

std::string& loadingBundlePath() {
  static thread_local std::string path;
  return path;
}

}  // namespace

ClassInfo::ClassInfo(std::string name, const ClassInfo* superclass, Factory factory,
                     std::unordered_map<std::string, IMP> methods)
    : name_(std::move(name)), superclass_(superclass), factory_(std::move(factory)), methods_(std::move(methods)) {}

bool ClassInfo::isSubclassOf(const ClassInfo* other) const {
  for (const ClassInfo* cls = this; cls; cls = cls->superclass_) {
    if (cls == other) return true;
  }
  return false;
}

std::shared_ptr<NSObject> ClassInfo::makeInstance() const {
  return factory_ ? factory_() : nullptr;
}

const IMP* ClassInfo::implementation(const SEL& selector) const {
  for (const ClassInfo* cls = this; cls; cls = cls->superclass_) {
    if (const IMP* own = cls->ownImplementation(selector)) return own;
  }
  return nullptr;
}

IMP* ClassInfo::ownImplementation(const SEL& selector) const {
  const auto found = methods_.find(selector.name());
  return found == methods_.end() ? nullptr : &found->second;
}

Ivar ClassInfo::instanceVariable(std::string_view name) const {
  for (const ClassInfo* cls = this; cls; cls = cls->superclass_) {
    const auto found = cls->variables_.find(name);
    if (found != cls->variables_.end()) return &found->second;
  }
  return nullptr;
}

void ClassInfo::addInstanceVariables(std::map<std::string, InstanceVariable, std::less<>> variables) const {
  variables_.merge(variables);
}

Class NSClassFromString(std::string_view name) {
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  const auto found = all.classes.find(std::string(name));
  return found == all.classes.end() ? nullptr : found->second.get();
}

std::string NSStringFromClass(Class cls) {
  return cls ? cls->name() : std::string();
}

void method_exchangeImplementations(Class first, const SEL& firstSelector, Class second, const SEL& secondSelector) {
  if (!first || !second) return;
  IMP* a = first->ownImplementation(firstSelector);
  IMP* b = second->ownImplementation(secondSelector);
  if (a && b) std::swap(*a, *b);
}

Ivar class_getInstanceVariable(Class cls, std::string_view name) {
  return cls ? cls->instanceVariable(name) : nullptr;
}

std::shared_ptr<NSObject> object_getIvar(const NSObject* object, Ivar variable) {
  return object && variable ? variable->get(*object) : nullptr;
}

void object_setIvar(NSObject* object, Ivar variable, const std::shared_ptr<NSObject>& value) {
  if (object && variable) variable->set(*object, value);
}

runtime::LoadingBundle::LoadingBundle(std::string bundlePath)
    : before_(std::exchange(loadingBundlePath(), std::move(bundlePath))) {}

runtime::LoadingBundle::~LoadingBundle() {
  loadingBundlePath() = std::move(before_);
}

Class runtime::registerClass(std::unique_ptr<ClassInfo> info) {
  info->bundlePath = loadingBundlePath();
  Registry& all = registry();
  const std::lock_guard lock(all.mutex);
  const Class cls = info.get();
  if (all.classes.count(cls->name())) {
    all.shadowed.push_back(std::move(info));
  } else {
    all.classes.emplace(cls->name(), std::move(info));
  }
  return cls;
}
