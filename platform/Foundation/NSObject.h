#pragma once

#include "platform/Foundation/ObjCRuntime.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// The root of every class that must be found, messaged or observed by name.
///
/// Objects live in `std::shared_ptr`. A class that takes part in look-up by name declares itself with
/// `ZV_OBJECT` (see ObjCRuntime.h) and lists the selectors that travel as data.
class NSObject : public std::enable_shared_from_this<NSObject> {
 public:
  NSObject() = default;
  NSObject(const NSObject&) = delete;
  NSObject& operator=(const NSObject&) = delete;
  virtual ~NSObject();

  /// The class of this very object (never null).
  virtual Class class_() const { return staticClass(); }
  static Class staticClass();

  /// Whether the object's class, or one it inherits from, has an implementation for `selector`.
  bool respondsToSelector(SEL selector) const;

  /// Sends `selector` with no argument, or with one, and gives what the method returns: null for one that returns no
  /// object. Does nothing when the object does not respond.
  std::shared_ptr<NSObject> performSelector(SEL selector);
  std::shared_ptr<NSObject> performSelector_withObject(SEL selector, const std::shared_ptr<NSObject>& object);

  bool isKindOfClass(Class cls) const;

  // Key-value observation. Observers are called in place, on the thread that calls `didChangeValueForKey`.

  /// Registers `observer` for `keyPath`. The observer is not owned, and is skipped once it is gone.
  void addObserver_forKeyPath(const std::shared_ptr<NSObject>& observer, std::string_view keyPath);
  /// Removes one registration. Also callable from the observer's destructor, hence the plain pointer.
  void removeObserver_forKeyPath(const NSObject* observer, std::string_view keyPath);
  /// Tells every observer of `key` that its value has changed.
  void didChangeValueForKey(std::string_view key);

  /// The callback of key-value observation. `object` is the observed object. The base class ignores it.
  virtual void observeValueForKeyPath_ofObject_change_context(std::string_view keyPath,
                                                              const std::shared_ptr<NSObject>& object,
                                                              const void* change, void* context);

 private:
  struct Observation {
    std::weak_ptr<NSObject> observer;
    const NSObject* identity;
    std::string keyPath;
  };
  std::vector<Observation> observations_;
};

/// Owned and unowned references, spelled short.
template <class T>
using Strong = std::shared_ptr<T>;
template <class T>
using Weak = std::weak_ptr<T>;
