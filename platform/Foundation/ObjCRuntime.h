#pragma once

#include <functional>
#include <map>
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

/// The body of a method: the receiver, and the one object argument (null for a selector without a colon). Made of any
/// callable with these arguments; one that returns nothing gives a null object.
class IMP {
 public:
  template <class Callable, class = std::enable_if_t<!std::is_same_v<std::decay_t<Callable>, IMP>>>
  IMP(Callable body) {  // NOLINT(google-explicit-constructor): methods are listed as lambdas
    using Result = std::invoke_result_t<Callable&, NSObject&, const std::shared_ptr<NSObject>&>;
    if constexpr (std::is_void_v<Result>) {
      body_ = [body = std::move(body)](NSObject& self, const std::shared_ptr<NSObject>& argument) mutable {
        body(self, argument);
        return std::shared_ptr<NSObject>();
      };
    } else {
      body_ = std::move(body);
    }
  }
  std::shared_ptr<NSObject> operator()(NSObject& self, const std::shared_ptr<NSObject>& argument) const {
    return body_(self, argument);
  }

 private:
  std::function<std::shared_ptr<NSObject>(NSObject&, const std::shared_ptr<NSObject>&)> body_;
};

/// A strong instance variable that can be read and written by name.
struct InstanceVariable {
  std::function<std::shared_ptr<NSObject>(const NSObject& object)> get;
  /// False when the value is not of the variable's type; then the variable keeps what it has.
  std::function<bool(NSObject& object, const std::shared_ptr<NSObject>& value)> set;
};
using Ivar = const InstanceVariable*;

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

  /// The variable of this name here or in the nearest superclass; null when there is none.
  Ivar instanceVariable(std::string_view name) const;
  /// Before the class is used, by ZV_REGISTER_INSTANCE_VARIABLES.
  void addInstanceVariables(std::map<std::string, InstanceVariable, std::less<>> variables) const;

  /// The bundle path that the class came from: empty for classes of the program itself.
  std::string bundlePath;

 private:
  friend void method_exchangeImplementations(const ClassInfo*, const SEL&, const ClassInfo*, const SEL&);
  IMP* ownImplementation(const SEL& selector) const;

  std::string name_;
  const ClassInfo* superclass_;
  Factory factory_;
  mutable std::unordered_map<std::string, IMP> methods_;
  mutable std::map<std::string, InstanceVariable, std::less<>> variables_;
};

using Class = const ClassInfo*;

/// The class registered under `name`, or null. Safe from any thread.
Class NSClassFromString(std::string_view name);
std::string NSStringFromClass(Class cls);

/// Swaps the bodies of two methods, which must be implemented by the named classes themselves (not inherited).
/// Does nothing when one is missing.
void method_exchangeImplementations(Class first, const SEL& firstSelector, Class second, const SEL& secondSelector);

/// The instance variable that objects of `cls` have under `name`, or null.
Ivar class_getInstanceVariable(Class cls, std::string_view name);
/// The variable's value; null for a null object or variable. The object must be of the class that the variable was
/// taken from. Main queue, as the objects that have such variables.
std::shared_ptr<NSObject> object_getIvar(const NSObject* object, Ivar variable);
/// Gives the variable a value, which may be null. A value of a type that the variable can't hold changes nothing.
void object_setIvar(NSObject* object, Ivar variable, const std::shared_ptr<NSObject>& value);

namespace runtime {

/// Adds a class to the registry; the first class of a name wins.
Class registerClass(std::unique_ptr<ClassInfo> info);

/// Classes that this thread registers while such an object lives come from the bundle at `bundlePath`.
class LoadingBundle {
 public:
  explicit LoadingBundle(std::string bundlePath);
  ~LoadingBundle();
  LoadingBundle(const LoadingBundle&) = delete;
  LoadingBundle& operator=(const LoadingBundle&) = delete;

 private:
  std::string before_;
};

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
/// A member function that returns an object.
template <class T, class Result>
IMP method(std::shared_ptr<Result> (T::*function)()) {
  return [function](NSObject& self, const std::shared_ptr<NSObject>&) {
    return std::shared_ptr<NSObject>((static_cast<T&>(self).*function)());
  };
}

/// A data member that holds an object. (NSObject is complete where this is used.)
template <class T, class Value>
InstanceVariable instanceVariable(std::shared_ptr<Value> T::*member) {
  return {[member](const NSObject& object) { return std::shared_ptr<NSObject>(static_cast<const T&>(object).*member); },
          [member](NSObject& object, const std::shared_ptr<NSObject>& value) {
            auto typed = std::dynamic_pointer_cast<Value>(value);
            if (value && !typed) return false;
            static_cast<T&>(object).*member = std::move(typed);
            return true;
          }};
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

/// For a class with instance variables that can be reached by name: ZV_INSTANCE_VARIABLES inside the class, and in the
/// .cpp, after ZV_REGISTER_CLASS: `ZV_REGISTER_INSTANCE_VARIABLES(Type, {{"_table",
/// runtime::instanceVariable(&Type::table_)}})`. Private members can be named there.
#define ZV_INSTANCE_VARIABLES(Type)        \
 private:                                  \
  static bool registerInstanceVariables(); \
  static const bool variablesAreRegistered_;

#define ZV_REGISTER_INSTANCE_VARIABLES(Type, ...)                                                          \
  bool Type::registerInstanceVariables() {                                                                 \
    staticClass()->addInstanceVariables(std::map<std::string, InstanceVariable, std::less<>> __VA_ARGS__); \
    return true;                                                                                           \
  }                                                                                                        \
  const bool Type::variablesAreRegistered_ = registerInstanceVariables();

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
