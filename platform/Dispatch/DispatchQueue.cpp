#include "platform/Dispatch/DispatchQueue.h"

namespace {
thread_local const DispatchQueue* current = nullptr;
}

CurrentQueue::CurrentQueue(const DispatchQueue* queue) : outer_(current) {
  current = queue;
}
CurrentQueue::~CurrentQueue() {
  current = outer_;
}
const DispatchQueue* CurrentQueue::get() {
  return current;
}

bool DispatchQueue::isCurrent() const {
  return CurrentQueue::get() == this;
}
