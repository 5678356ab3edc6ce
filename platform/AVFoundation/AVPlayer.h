#pragma once

#include "platform/AVFoundation/AVPlayerItem.h"
#include "platform/AVFoundation/AVVideoOutput.h"
#include "platform/Dispatch/dispatch.h"

#include <functional>
#include <memory>
#include <vector>

enum class AVPlayerActionAtItemEnd { Advance = 0, Pause = 1, None = 2 };

/// Plays one item. Main queue only; every callback comes on the main queue.
///
/// A seek lands at once on a picture that can be shown without waiting (a key frame near the target), and when no newer
/// seek follows within a moment, on the exact frame that is on screen at the target. Seeks while one is under way are
/// coalesced: only the latest target is sought. `play` after a seek starts at the exact target. Nothing runs and no
/// timer fires while the player is paused and no seek is pending.
class AVPlayer : public NSObject {
 public:
  static Strong<AVPlayer> initWithPlayerItem(const Strong<AVPlayerItem>& item);
  AVPlayer();
  ~AVPlayer() override;

  const Strong<AVPlayerItem>& currentItem() const;
  /// The item's current time, in the video track's own time scale where that is at least 1000 ticks a second (so every
  /// frame's time is exact), else in nanoseconds.
  CMTime currentTime() const;

  void play();
  void pause();
  /// 0 when paused, 1 when playing.
  float rate() const;
  void seekToTime(CMTime time);
  /// Whether a seek, or its exact refinement, is still under way.
  bool isSeeking() const;
  void setActionAtItemEnd(AVPlayerActionAtItemEnd action);

  /// A registration of a time observer: it ends when the token goes away, or with the player.
  class TimeObserver : public NSObject {};

  /// Calls `block` every `interval` while playing, and once after each jump in time and after it was added. `queue`
  /// null means the main queue.
  Strong<NSObject> addPeriodicTimeObserverForInterval_queue_usingBlock(CMTime interval, const dispatch_queue_t& queue,
                                                                       std::function<void(CMTime)> block);
  /// Calls `block` when playback (not a seek) passes one of `times`; never later than one frame after it.
  Strong<NSObject> addBoundaryTimeObserverForTimes_queue_usingBlock(std::vector<CMTime> times,
                                                                    const dispatch_queue_t& queue,
                                                                    std::function<void()> block);
  void removeTimeObserver(const Strong<NSObject>& token);

  /// The pictures of this player, for whatever shows them. Never null.
  const std::shared_ptr<AVVideoOutput>& videoOutput() const;

  /// Pictures that should have been shown during playback but were not, since the item was opened (for measurements):
  /// not decoded, not drawn in time, or replaced by the next one before anybody had fetched them (software rendering).
  long droppedFrameCount() const;

  /// How players are made in this process: whether sound goes to the person's sound server, and whether pictures are
  /// rendered with OpenGL (then nothing plays until `AVVideoOutput::startOpenGL` has been called). Call before the
  /// first player is made.
  struct Configuration {
    bool audio = true;
    bool openGL = false;
  };
  static void setConfiguration(Configuration configuration);
  /// Gets the next player ready in the background, so that its first picture comes some milliseconds sooner. Call it
  /// early (first thing in `main`, after `setConfiguration`). Any thread; returns at once.
  static void prewarm();

 private:
  struct Impl;
  std::shared_ptr<Impl> impl_;
};
