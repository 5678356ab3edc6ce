#pragma once

#include "platform/backends/mpv/MpvCore.h"
#include "platform/backends/mpv/MpvVideoOutput.h"

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// What is known of a movie once the core has opened it.
struct MovieFacts {
  double startTime = 0;  ///< the file's own time at the player's zero, seconds
  int videoStream = -1;  ///< index in the file; −1: no pictures
  int rotation = 0;      ///< degrees clockwise
};

/// A step of a seek, or the answer to a command.
struct PlayerStep {
  enum class Kind { Reply, SeekBegan, PictureShown };
  Kind kind;
  std::uint64_t reply = 0;
  std::chrono::steady_clock::time_point when = std::chrono::steady_clock::now();
};

/// The news of a core since the last delivery: the latest value of each property, every step in its order.
struct PlayerNews {
  std::optional<MovieFacts> opened;
  std::optional<std::string> failure;
  std::optional<double> time;
  std::chrono::steady_clock::time_point timeKnown;  ///< when `time` came from the core
  std::optional<bool> atEnd;
  std::optional<bool> idle;
  std::chrono::steady_clock::time_point idleKnown;
  std::vector<PlayerStep> steps;
};

/// The one way from a core's events to the main queue: gathers them as they come and delivers what has piled up in one
/// work item. The size of the picture goes straight to the video output, which needs it before the main queue does.
class PlayerEvents : public std::enable_shared_from_this<PlayerEvents> {
 public:
  /// `deliver` is called on the main queue.
  PlayerEvents(std::weak_ptr<MpvVideoOutput> output, std::function<void(const PlayerNews&)> deliver)
      : output_(std::move(output)), deliver_(std::move(deliver)) {}

  /// Connects to a core, which has run no command yet.
  void listenTo(const std::shared_ptr<MpvCore>& core);

 private:
  void handle(MpvCore& core, const mpv_event& event);
  void handleProperty(std::uint64_t property, const mpv_event_property& value);
  void handleOpened(MpvCore& core);
  template <class Change>
  void publish(Change change);

  std::weak_ptr<MpvVideoOutput> output_;
  std::function<void(const PlayerNews&)> deliver_;
  std::mutex mutex_;
  PlayerNews news_;
  bool deliveryPending_ = false;
  int width_ = 0, height_ = 0, rotation_ = 0;  // on the core's queue
};
