#include "platform/Dispatch/dispatch.h"

#include "platform/Dispatch/DispatchQueue.h"
#include "platform/Dispatch/MainQueue.h"
#include "platform/Dispatch/ThreadPool.h"

#include <atomic>
#include <condition_variable>

namespace {

/// A queue whose work items may run side by side.
class GlobalQueue : public DispatchQueue {
 public:
  explicit GlobalQueue(int rank) : rank_(rank) {}
  void enqueue(dispatch_block_t block) override {
    ThreadPool::shared().submit(rank_, [this, block = std::move(block)] {
      const CurrentQueue current(this);
      block();
    });
  }

 private:
  int rank_;
};

/// A queue that runs one work item at a time, in order, on the pool.
class SerialQueue : public DispatchQueue {
 public:
  explicit SerialQueue(std::string label) : label_(std::move(label)) {}
  void enqueue(dispatch_block_t block) override {
    const std::lock_guard lock(mutex_);
    pending_.push_back(std::move(block));
    if (!running_) {
      running_ = true;
      scheduleNext();
    }
  }

 private:
  void scheduleNext() {
    // The pool's work item keeps the queue alive until it is empty.
    ThreadPool::shared().submit(ThreadPool::rankOfPriority(DISPATCH_QUEUE_PRIORITY_DEFAULT),
                                [self = shared_from_this(), this] { runOne(); });
  }
  void runOne() {
    dispatch_block_t block;
    {
      const std::lock_guard lock(mutex_);
      block = std::move(pending_.front());
      pending_.pop_front();
    }
    {
      const CurrentQueue current(this);
      block();
      block = nullptr;
    }
    const std::lock_guard lock(mutex_);
    if (pending_.empty()) {
      running_ = false;
    } else {
      scheduleNext();
    }
  }

  std::string label_;
  std::mutex mutex_;
  std::deque<dispatch_block_t> pending_;
  bool running_ = false;
};

}  // namespace

const dispatch_queue_t& dispatch_get_main_queue() {
  static const dispatch_queue_t& queue = *new dispatch_queue_t(MainQueue::shared());
  return queue;
}

const dispatch_queue_t& dispatch_get_global_queue(long priority) {
  static const auto& queues = *new std::array<dispatch_queue_t, ThreadPool::rankCount>{
      std::make_shared<GlobalQueue>(0), std::make_shared<GlobalQueue>(1), std::make_shared<GlobalQueue>(2),
      std::make_shared<GlobalQueue>(3)};
  return queues[ThreadPool::rankOfPriority(priority)];
}

dispatch_queue_t dispatch_queue_create(std::string label) {
  return std::make_shared<SerialQueue>(std::move(label));
}

void dispatch_async(const dispatch_queue_t& queue, dispatch_block_t block) {
  queue->enqueue(std::move(block));
}

void dispatch_sync(const dispatch_queue_t& queue, const dispatch_block_t& block) {
  std::mutex mutex;
  std::condition_variable ended;
  bool done = false;
  queue->enqueue([&] {
    block();
    // Notified under the lock: the waiting frame, and with it the condition, goes away as soon as it is released.
    const std::lock_guard lock(mutex);
    done = true;
    ended.notify_one();
  });
  std::unique_lock lock(mutex);
  ended.wait(lock, [&] { return done; });
}

void dispatch_after(double seconds, const dispatch_queue_t& queue, dispatch_block_t block) {
  TimerThread::shared().add(seconds, queue, std::move(block));
}

bool dispatch_is_current(const dispatch_queue_t& queue) {
  return queue->isCurrent();
}
