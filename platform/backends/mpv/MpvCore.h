#pragma once

#include "platform/AVFoundation/AVPlayer.h"
#include "platform/Dispatch/dispatch.h"

#include <mpv/client.h>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// One mpv core: its options, its commands and its events. Commands never wait and are carried out in order.
class MpvCore : public std::enable_shared_from_this<MpvCore> {
 public:
  /// Called on the core's own serial queue, for every event.
  using EventHandler = std::function<void(const mpv_event& event)>;

  /// A core with the player's options, idle; takes some milliseconds unless a spare one stands ready. Any thread.
  /// Null when the library refuses (out of memory, a locale that mpv can't work in).
  static std::shared_ptr<MpvCore> take(const AVPlayer::Configuration& configuration);
  /// Makes a spare core in the background for the next `take`. Any thread; does nothing while there is one.
  static void prewarm(const AVPlayer::Configuration& configuration);

  /// Ends playback at once; the rest of the core is taken down in the background.
  ~MpvCore();
  MpvCore(const MpvCore&) = delete;
  MpvCore& operator=(const MpvCore&) = delete;

  mpv_handle* handle() const { return handle_; }

  /// Call once, before the first command.
  void setEventHandler(EventHandler handler);

  /// `reply` 0 asks for no answer; any other value comes back with the MPV_EVENT_COMMAND_REPLY event.
  void command(std::initializer_list<std::string> words, std::uint64_t reply = 0);
  void setFlag(const char* name, bool value, std::uint64_t reply = 0);
  void setProperty(const char* name, const std::string& value);

  // These wait for the core, which answers between two pictures. Not from the render thread.
  bool getFlag(const char* name) const;
  long getLong(const char* name, long otherwise) const;
  double getDouble(const char* name, double otherwise) const;

 private:
  explicit MpvCore(mpv_handle* handle);
  static std::shared_ptr<MpvCore> make(const AVPlayer::Configuration& configuration);
  static void onWakeup(void* context);
  void drainEvents();
  void fitDecoder();

  mpv_handle* handle_;
  dispatch_queue_t eventQueue_;
  EventHandler eventHandler_;
  std::atomic<bool> drainPending_{false};
  std::weak_ptr<MpvCore> self_;
};
