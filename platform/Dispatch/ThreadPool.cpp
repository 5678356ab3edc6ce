#include "platform/Dispatch/ThreadPool.h"

#include <chrono>

ThreadPool& ThreadPool::shared() {
  static ThreadPool& pool = *new ThreadPool;  // its threads may outlive static destructors
  return pool;
}

int ThreadPool::rankOfPriority(long priority) {
  if (priority >= DISPATCH_QUEUE_PRIORITY_HIGH) return 0;
  if (priority >= DISPATCH_QUEUE_PRIORITY_DEFAULT) return 1;
  return priority > DISPATCH_QUEUE_PRIORITY_BACKGROUND ? 2 : 3;
}

void ThreadPool::submit(int rank, dispatch_block_t work) {
  const std::lock_guard lock(mutex_);
  waiting_[rank].push_back(std::move(work));
  ++waitingCount_;
  if (idleThreads_ >= static_cast<int>(waitingCount_) || threads_ == maxThreads) {
    available_.notify_one();
  } else {
    ++threads_;
    std::thread(&ThreadPool::runThread, this).detach();
  }
}

bool ThreadPool::isIdle() {
  const std::lock_guard lock(mutex_);
  return waitingCount_ == 0 && idleThreads_ == threads_;
}

void ThreadPool::runThread() {
  std::unique_lock lock(mutex_);
  for (;;) {
    if (waitingCount_ == 0) {
      ++idleThreads_;
      const bool work = available_.wait_for(lock, std::chrono::seconds(5), [this] { return waitingCount_ > 0; });
      --idleThreads_;
      if (!work) break;
    }
    for (std::deque<dispatch_block_t>& queue : waiting_) {
      if (queue.empty()) continue;
      dispatch_block_t work = std::move(queue.front());
      queue.pop_front();
      --waitingCount_;
      lock.unlock();
      work();
      work = nullptr;  // what it holds is released outside the lock
      lock.lock();
      break;
    }
  }
  --threads_;
}

TimerThread& TimerThread::shared() {
  static TimerThread& timer = *new TimerThread;
  return timer;
}

void TimerThread::add(double seconds, dispatch_queue_t queue, dispatch_block_t block) {
  const auto when = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  const std::lock_guard lock(mutex_);
  due_.emplace(when, std::make_pair(std::move(queue), std::move(block)));
  if (!started_) {
    started_ = true;
    std::thread(&TimerThread::run, this).detach();
  }
  changed_.notify_one();
}

void TimerThread::run() {
  std::unique_lock lock(mutex_);
  for (;;) {
    if (due_.empty()) {
      changed_.wait(lock);
    } else if (const auto next = due_.begin(); next->first <= Clock::now()) {
      auto [queue, block] = std::move(next->second);
      due_.erase(next);
      lock.unlock();
      dispatch_async(queue, std::move(block));
      lock.lock();
    } else {
      changed_.wait_until(lock, next->first);
    }
  }
}
