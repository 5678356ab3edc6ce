#pragma once

#include "platform/Dispatch/dispatch.h"

#include <array>
#include <deque>

/// What every kind of queue can do.
class DispatchQueue : public std::enable_shared_from_this<DispatchQueue> {
 public:
  virtual ~DispatchQueue() = default;
  /// Any thread; returns at once.
  virtual void enqueue(dispatch_block_t block) = 0;
  virtual bool isCurrent() const;
};

/// Marks the calling thread as running a work item of a queue, as long as it lives.
class CurrentQueue {
 public:
  explicit CurrentQueue(const DispatchQueue* queue);
  ~CurrentQueue();
  CurrentQueue(const CurrentQueue&) = delete;
  CurrentQueue& operator=(const CurrentQueue&) = delete;
  static const DispatchQueue* get();

 private:
  const DispatchQueue* outer_;
};
