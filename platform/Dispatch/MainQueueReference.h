#pragma once

#include "platform/Dispatch/dispatch.h"

#include <memory>
#include <utility>

/// A reference that work on other queues may hold to an object of the main queue: wherever the last copy goes away, the
/// object itself is released on the main queue, so its destructor never runs anywhere else.
template <class T>
std::shared_ptr<T> MainQueueReference(std::shared_ptr<T> object) {
  T* const address = object.get();
  return std::shared_ptr<T>(address, [held = std::move(object)](T*) mutable {
    if (dispatch_is_current(dispatch_get_main_queue())) return;
    dispatch_async(dispatch_get_main_queue(), [released = std::move(held)] {});
  });
}
