#pragma once

#include "platform/Foundation/NSObject.h"

#include <mutex>
#include <string>
#include <vector>

/// What a notification carries: its name and the object that sent it.
class NSNotification : public NSObject {
 public:
  NSNotification(std::string name, Strong<NSObject> object) : name_(std::move(name)), object_(std::move(object)) {}
  const std::string& name() const { return name_; }
  const Strong<NSObject>& object() const { return object_; }

 private:
  std::string name_;
  Strong<NSObject> object_;
};

/// Delivers named notifications to observers by selector, in place, on the posting thread. Safe from any thread.
class NSNotificationCenter {
 public:
  static NSNotificationCenter& defaultCenter();

  /// `selector` is sent to `observer` with the NSNotification. `object` null means from any sender. The observer and
  /// the object are not owned.
  void addObserver_selector_name_object(const Strong<NSObject>& observer, SEL selector, std::string name,
                                        const Strong<NSObject>& object);
  /// Removes every registration of `observer`. Also callable from its destructor.
  void removeObserver(const NSObject* observer);
  void postNotificationName_object(const std::string& name, const Strong<NSObject>& object);

 private:
  struct Registration {
    Weak<NSObject> observer;
    const NSObject* identity;
    SEL selector;
    std::string name;
    Weak<NSObject> object;
    const NSObject* objectIdentity;
  };
  std::mutex mutex_;
  std::vector<Registration> registrations_;
};
