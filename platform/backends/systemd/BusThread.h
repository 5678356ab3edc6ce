#pragma once

#include "platform/backends/systemd/BusProtocol.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/// Runs one bus connection on a thread of its own, the only one that touches it.
class BusThread {
 public:
  using Task = std::function<void(sd_bus* bus)>;

  /// `closed` is called on the thread when the other end has gone; tasks still run afterwards and see the closed bus.
  BusThread(bus_protocol::Bus bus, std::function<void()> closed);
  /// Stops and joins the thread; tasks that have not run are dropped. Never on the thread itself.
  ~BusThread();
  BusThread(const BusThread&) = delete;
  BusThread& operator=(const BusThread&) = delete;

  bool isOpen() const { return open_; }
  /// Starts the thread; `setUp` runs there first.
  void start(Task setUp);
  /// Runs `task` on the thread; safe from any thread.
  void post(Task task);

 private:
  void run(const Task& setUp);
  void runTasks();
  void wake() const;

  bus_protocol::Bus bus_;
  std::function<void()> closed_;
  std::atomic<bool> open_ = true, stop_ = false;
  int wakeDescriptor_;
  std::mutex mutex_;
  std::vector<Task> tasks_;
  std::thread thread_;
};
