#pragma once

#include "platform/Dispatch/dispatch.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <thread>

/// The threads that global and serial queues run on. Threads are started as work needs them and go after some idle
/// seconds; waiting work is taken by rank (0 is the most urgent).
class ThreadPool {
 public:
  static constexpr int rankCount = 4;
  /// Some: work items may wait for each other (a synchronous hop, a file system), so there are more than processors.
  static constexpr int maxThreads = 16;

  static ThreadPool& shared();
  static int rankOfPriority(long priority);

  void submit(int rank, dispatch_block_t work);
  /// Whether nothing runs or waits.
  bool isIdle();

 private:
  void runThread();

  std::mutex mutex_;
  std::condition_variable available_;
  std::array<std::deque<dispatch_block_t>, rankCount> waiting_;
  std::size_t waitingCount_ = 0;
  int threads_ = 0;
  int idleThreads_ = 0;
};

/// The one thread that waits for the time of delayed work. Started by the first such work.
class TimerThread {
 public:
  static TimerThread& shared();
  void add(double seconds, dispatch_queue_t queue, dispatch_block_t block);

 private:
  using Clock = std::chrono::steady_clock;
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::multimap<Clock::time_point, std::pair<dispatch_queue_t, dispatch_block_t>> due_;
  bool started_ = false;
};
