#pragma once

#include "platform/Dispatch/DispatchQueue.h"

#include <atomic>
#include <condition_variable>
#include <thread>

/// The queue of the event loop's thread.
class MainQueue : public DispatchQueue {
 public:
  static const std::shared_ptr<MainQueue>& shared();

  void enqueue(dispatch_block_t block) override;
  bool isCurrent() const override;

  void attach(std::function<void()> wake);
  int drain();
  bool isEmpty();
  /// Waits until something is pending, `seconds` at most.
  void waitForWork(double seconds);

 private:
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<dispatch_block_t> pending_;
  std::function<void()> wake_;
  std::atomic<std::thread::id> thread_;
};
