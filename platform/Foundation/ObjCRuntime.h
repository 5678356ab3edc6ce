#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>

/// A small object runtime. It serves only what must be found, messaged or altered by name: the principal class named
/// by a property list, target and action, plug-in classes, the exchange of two implementations. Everything else is
/// plain C++.

class NSObject;

/// A selector in its original spelling, colons included: "handleSingleTap:". Compared by text.
class SEL {
 public:
  SEL() = default;
  SEL(const char* name) : name_(name) {}             // NOLINT(google-explicit-constructor): selectors are literals
  SEL(std::string name) : name_(std::move(name)) {}  // NOLINT(google-explicit-constructor)
  const std::string& name() const { return name_; }
  explicit operator bool() const { return !name_.empty(); }
  friend bool operator==(const SEL& a, const SEL& b) { return a.name_ == b.name_; }

 private:
  std::string name_;
};

/// The body of a method: the receiver, and the one object argument (null for a selector without a colon).
using IMP = std::function<void(NSObject& self, const std::shared_ptr<NSObject>& argument)>;

/// One class: its registered name, its superclass, how to make an instance, and the methods that can be sent by name.
///
/// Made once per process by `ZV_REGISTER_CLASS`, never destroyed. Look-ups are safe from any thread; methods are
/// exchanged on the main queue only.
class ClassInfo {
 public:
  using Factory = std::function<std::shared_ptr<NSObject>()>;

  ClassInfo(std::string name, const ClassInfo* superclass, Factory factory,
            std::unordered_map<std::string, IMP> methods);

  const std::string& name() const { return name_; }
  const ClassInfo* superclass() const { return superclass_; }
  bool isSubclassOf(const ClassInfo* other) const;

  /// A new instance, made with the default constructor; null for a class that can't be made by name.
  std::shared_ptr<NSObject> makeInstance() const;

  /// The implementation for `selector` here or in the nearest superclass; null when there is none.
  const IMP* implementation(const SEL& selector) const;

  /// The bundle path that the class came from: empty for classes of the program itself.
  std::string bundlePath;

 private:
  friend void method_exchangeImplementations(const ClassInfo*, const SEL&, const ClassInfo*, const SEL&);
  IMP* ownImplementation(const SEL& selector) const;

  std::string name_;
  const ClassInfo* superclass_;
  Factory factory_;
  mutable std::unordered_map<std::string, IMP> methods_;
};

using Class = const ClassInfo*;

/// The class registered under `name`, or null. Safe from any thread.
Class NSClassFromString(std::string_view name);
std::string NSStringFromClass(Class cls);

/// Swaps the bodies of two methods, which must be implemented by the named classes themselves (not inherited).
/// Does nothing when one is missing.
void method_exchangeImplementations(Class first, const SEL& firstSelector, Class second, const SEL& secondSelector);

namespace runtime {

/// Adds a class to the registry; the first class of a name wins.
Class registerClass(std::unique_ptr<ClassInfo> info);

/// Wraps a member function without or with one object argument as a method body.
template <class T>
IMP method(void (T::*function)()) {
  return [function](NSObject& self, const std::shared_ptr<NSObject>&) { (static_cast<T&>(self).*function)(); };
}
template <class T, class Argument>
IMP method(void (T::*function)(const std::shared_ptr<Argument>&)) {
  return [function](NSObject& self, const std::shared_ptr<NSObject>& argument) {
    (static_cast<T&>(self).*function)(std::static_pointer_cast<Argument>(argument));
  };
}

}  // namespace runtime

/// Inside a class: declares that objects answer `class_()` with the class's own record.
#define ZV_OBJECT(Type)           \
 public:                          \
  static Class staticClass();     \
  Class class_() const override { \
    return staticClass();         \
  }                               \
                                  \
 private:

/// In one .cpp, at global scope: `ZV_REGISTER_CLASS(Type, "Name", Super, {{"action",
/// runtime::method(&Type::action)}})`. The class is registered before `main`; `staticClass` also works earlier.
#define ZV_REGISTER_CLASS(Type, Name, Super, ...)                                                                    \
  Class Type::staticClass() {                                                                                        \
    static const Class cls = runtime::registerClass(std::make_unique<ClassInfo>(                                     \
        Name, Super::staticClass(), runtime_factory::of<Type>(), std::unordered_map<std::string, IMP> __VA_ARGS__)); \
    return cls;                                                                                                      \
  }                                                                                                                  \
  namespace {                                                                                                        \
  [[maybe_unused]] const Class registered_##Type = Type::staticClass();                                              \
  }

namespace runtime_factory {
template <class T>
ClassInfo::Factory of() {
  if constexpr (std::is_default_constructible_v<T>) {
    return [] { return std::static_pointer_cast<NSObject>(std::make_shared<T>()); };
  } else {
    return nullptr;
  }
}
}  // namespace runtime_factory
