#include "platform/Foundation/SignalWatcher.h"

#include "platform/Dispatch/dispatch.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <thread>

namespace {

int writingEnd = -1;

void signalArrived(int number) {
  int before = errno;
  auto byte = static_cast<unsigned char>(number);
  [[maybe_unused]] ssize_t written = write(writingEnd, &byte, 1);
  errno = before;
}

}  // namespace

void SignalWatcher::watch(const std::vector<int>& signals, std::function<void(int)> handler) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  writingEnd = ends[1];

  // The thread itself takes none of them.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread([reading = ends[0], handler = std::move(handler)] {
    unsigned char number = 0;
    ssize_t count = 0;
    while ((count = read(reading, &number, 1)) == 1 || (count < 0 && errno == EINTR)) {
      if (count == 1) dispatch_async(dispatch_get_main_queue(), [handler, signal = int{number}] { handler(signal); });
    }
  }).detach();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);

  struct sigaction action {};
  action.sa_handler = signalArrived;
  action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
  sigemptyset(&action.sa_mask);
  for (int number : signals) sigaction(number, &action, nullptr);
}
