#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

/// Queues of work. The main queue runs on the thread of the window's event loop; global queues run on a small pool of
/// threads, by priority; serial queues run one work item at a time on that pool.

class DispatchQueue;
using dispatch_queue_t = std::shared_ptr<DispatchQueue>;
using dispatch_block_t = std::function<void()>;

inline constexpr long DISPATCH_QUEUE_PRIORITY_HIGH = 2;
inline constexpr long DISPATCH_QUEUE_PRIORITY_DEFAULT = 0;
inline constexpr long DISPATCH_QUEUE_PRIORITY_LOW = -2;
inline constexpr long DISPATCH_QUEUE_PRIORITY_BACKGROUND = -32768;

/// The queue of the thread that runs the window's event loop.
const dispatch_queue_t& dispatch_get_main_queue();
/// The concurrent queue of a priority.
const dispatch_queue_t& dispatch_get_global_queue(long priority);
/// A new serial queue. Work that is pending when the last reference goes still runs.
dispatch_queue_t dispatch_queue_create(std::string label);

/// Runs `block` later on `queue`; safe from any thread, returns at once.
void dispatch_async(const dispatch_queue_t& queue, dispatch_block_t block);
/// Runs `block` on `queue` and waits for it. Never call it on the queue itself.
void dispatch_sync(const dispatch_queue_t& queue, const dispatch_block_t& block);
/// Runs `block` on `queue` after `seconds` at the earliest.
void dispatch_after(double seconds, const dispatch_queue_t& queue, dispatch_block_t block);

/// Whether the calling code runs as a work item of `queue` (for the main queue: on its thread).
bool dispatch_is_current(const dispatch_queue_t& queue);

using dispatch_once_t = std::once_flag;
template <class Function>
void dispatch_once(dispatch_once_t& once, Function&& function) {
  std::call_once(once, std::forward<Function>(function));
}

/// For the owner of the event loop, and for tests that have none.
namespace dispatch_main {

/// Makes the calling thread the main queue's thread. `wake` is called, from any thread, whenever the main queue gets
/// its first pending work item; the loop then calls `drain` on the main thread.
void attachToCurrentThread(std::function<void()> wake);
/// Runs the work items that are pending now; items added meanwhile wait for the next call. Returns how many ran.
int drain();
/// Runs main-queue work on this thread until `done` is true or `seconds` have passed; for programs with no event
/// loop. Returns whether `done` became true.
bool runUntil(const std::function<bool()>& done, double seconds);
/// Waits until the global and serial queues have nothing left to run, `seconds` at most, draining the main queue
/// meanwhile. Delayed work (`dispatch_after`) is not waited for. Main thread only. Returns whether all was done.
bool waitForBackgroundWork(double seconds);
/// Waits until no `EssentialWork` is under way and the main queue is empty, `seconds` at most, draining the main queue
/// meanwhile. Main thread only. Returns whether it came to that.
bool waitForEssentialWork(double seconds);

}  // namespace dispatch_main
