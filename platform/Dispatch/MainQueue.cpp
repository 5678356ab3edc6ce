#include "platform/Dispatch/MainQueue.h"

#include "platform/Dispatch/EssentialWork.h"
#include "platform/Dispatch/ThreadPool.h"

#include <chrono>

const std::shared_ptr<MainQueue>& MainQueue::shared() {
  static const std::shared_ptr<MainQueue>& queue = *new std::shared_ptr<MainQueue>(std::make_shared<MainQueue>());
  return queue;
}

void MainQueue::enqueue(dispatch_block_t block) {
  std::function<void()> wake;
  {
    const std::lock_guard lock(mutex_);
    if (pending_.empty()) wake = wake_;
    pending_.push_back(std::move(block));
  }
  arrived_.notify_one();
  if (wake) wake();
}

bool MainQueue::isCurrent() const {
  return thread_.load() == std::this_thread::get_id();
}

void MainQueue::attach(std::function<void()> wake) {
  bool pending = false;
  {
    const std::lock_guard lock(mutex_);
    wake_ = wake;
    pending = !pending_.empty();
  }
  thread_ = std::this_thread::get_id();
  if (pending && wake) wake();
}

int MainQueue::drain() {
  std::deque<dispatch_block_t> batch;
  {
    const std::lock_guard lock(mutex_);
    batch.swap(pending_);
  }
  const int count = static_cast<int>(batch.size());
  const CurrentQueue current(this);
  while (!batch.empty()) {
    const dispatch_block_t block = std::move(batch.front());
    batch.pop_front();
    block();
  }
  return count;
}

bool MainQueue::isEmpty() {
  const std::lock_guard lock(mutex_);
  return pending_.empty();
}

void MainQueue::waitForWork(double seconds) {
  std::unique_lock lock(mutex_);
  arrived_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return !pending_.empty(); });
}

void dispatch_main::attachToCurrentThread(std::function<void()> wake) {
  MainQueue::shared()->attach(std::move(wake));
}

int dispatch_main::drain() {
  return MainQueue::shared()->drain();
}

bool dispatch_main::runUntil(const std::function<bool()>& done, double seconds) {
  using Clock = std::chrono::steady_clock;
  MainQueue& queue = *MainQueue::shared();
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  // The condition may depend on other threads, so it is looked at now and then without work, too.
  constexpr double pollInterval = 0.005;
  for (;;) {
    queue.drain();
    if (done()) return true;
    if (Clock::now() >= end) return false;
    queue.waitForWork(pollInterval);
  }
}

bool dispatch_main::waitForBackgroundWork(double seconds) {
  // In this order: the last work item may have left something for the main queue.
  return runUntil([] { return ThreadPool::shared().isIdle() && MainQueue::shared()->isEmpty(); }, seconds);
}

bool dispatch_main::waitForEssentialWork(double seconds) {
  return runUntil([] { return !EssentialWork::isUnderWay() && MainQueue::shared()->isEmpty(); }, seconds);
}
