#include "platform/backends/systemd/BusThread.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>

BusThread::BusThread(bus_protocol::Bus bus, std::function<void()> closed)
    : bus_(std::move(bus)), closed_(std::move(closed)), wakeDescriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

BusThread::~BusThread() {
  stop_ = true;
  wake();
  if (thread_.joinable()) thread_.join();
  close(wakeDescriptor_);
}

void BusThread::start(Task setUp) {
  // Signals are for other threads.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread([this, setUp = std::move(setUp)] { run(setUp); });
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void BusThread::post(Task task) {
  {
    std::lock_guard lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  wake();
}

void BusThread::wake() const {
  std::uint64_t one = 1;
  [[maybe_unused]] ssize_t written = write(wakeDescriptor_, &one, sizeof one);
}

void BusThread::runTasks() {
  std::vector<Task> tasks;
  {
    std::lock_guard lock(mutex_);
    tasks.swap(tasks_);
  }
  for (Task& task : tasks) task(bus_.get());
}

void BusThread::run(const Task& setUp) {
  setUp(bus_.get());
  while (!stop_) {
    runTasks();
    int result = 1;
    while (result > 0 && !stop_) result = sd_bus_process(bus_.get(), nullptr);
    if (open_ && (result < 0 || sd_bus_is_open(bus_.get()) <= 0)) {
      // Also after a message that makes no sense. What is still pending is given up by `closed_`.
      sd_bus_close(bus_.get());
      open_ = false;
      closed_();
    }
    pollfd ready[2] = {{wakeDescriptor_, POLLIN, 0}, {-1, 0, 0}};
    int timeout = -1;
    if (open_) {
      ready[1].fd = sd_bus_get_fd(bus_.get());
      ready[1].events = static_cast<short>(sd_bus_get_events(bus_.get()));
      std::uint64_t end = UINT64_MAX;
      if (sd_bus_get_timeout(bus_.get(), &end) >= 0 && end != UINT64_MAX) {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        auto moment = static_cast<std::int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
        auto left = static_cast<std::int64_t>(end / 1000) + 1 - moment;
        timeout = static_cast<int>(left < 0 ? 0 : left > 1000000 ? 1000000 : left);
      }
    }
    if (poll(ready, 2, timeout) < 0 && errno != EINTR) return;
    std::uint64_t count = 0;
    [[maybe_unused]] ssize_t taken = read(wakeDescriptor_, &count, sizeof count);
  }
}
