#pragma once

#include "platform/backends/ffmpeg/FrameLocator.h"
#include "platform/backends/ffmpeg/PreviewDecoder.h"
#include "platform/backends/mpv/MpvCore.h"
#include "platform/backends/mpv/MpvVideoOutput.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

/// Turns a stream of seek targets into seeks of the core. Main queue only.
///
/// While the player is paused, targets go to a decoder of previews first, which follows a dragging hand; the core's own
/// exact seek follows once the hand rests and its picture is on screen already. Where there are no previews, one seek
/// of the core is under way at a time: to the key frame first where the exact picture takes long to decode, then to
/// the picture itself, unless a target in another group of pictures has come. Only the latest target is kept.
class SeekCoordinator : public std::enable_shared_from_this<SeekCoordinator> {
 public:
  struct Callbacks {
    std::function<void()> settled;      ///< the picture of the latest target is on screen
    std::function<void()> readyToPlay;  ///< the core has been given everything it needs to play from the target
  };
  explicit SeekCoordinator(Callbacks callbacks) : callbacks_(std::move(callbacks)) {}

  ~SeekCoordinator();

  /// The movie is loaded. `locator` is null for a movie without pictures.
  void start(std::shared_ptr<MpvCore> core, std::shared_ptr<MpvVideoOutput> output,
             std::unique_ptr<FrameLocator> locator);

  /// Seconds.
  void seek(double target);
  /// Whether playback is wanted. Before it starts, `readyToPlay` comes once the exact seek has been handed to the core
  /// (at once when none is pending); after that, for each further seek.
  void setPlaying(bool playing);
  /// The core has taken up playing: the picture on screen is no longer the one that was sought.
  void pictureMoved() {
    shownFrame_.reset();
    shownKeyFrame_.reset();
    reached_.reset();
  }

  /// Which picture is on screen at a time; nothing where there are no pictures. Answers on the main queue, or at once.
  void locate(double time, FrameLocator::Completion completion);

  bool isSeeking() const { return target_.has_value(); }
  /// Gives up what is under way, for a movie that can't be played any further. Nothing is called for it.
  void cancel();

  // The core's events, in their order. A seek is done when a picture is shown after the seek began after the command
  // was answered; what comes earlier belongs to an older seek.

  /// MPV_EVENT_COMMAND_REPLY. Replies that are not this object's are ignored.
  void handleReply(std::uint64_t reply);
  /// MPV_EVENT_SEEK.
  void handleSeekBegan();
  /// MPV_EVENT_PLAYBACK_RESTART.
  void handlePictureShown();

 private:
  using Clock = std::chrono::steady_clock;
  struct Located {
    double time;
    std::optional<FrameLocation> location;
  };
  struct Flight {
    std::uint64_t reply;
    bool exact;
    bool toPlay;
    bool slow;
    double target;
    std::optional<FrameLocation> location;
    Clock::time_point start;
    bool answered = false;
    bool began = false;
  };

  void locate();
  void advance();
  void advancePaused(const FrameLocation& location);
  void seekExactly(double target, const std::optional<FrameLocation>& location);
  void seekToKeyFrame(double target, const FrameLocation& location);
  void setFirstPictureDelay(double frame, double time);
  void clearFirstPictureDelay();
  void launch(Flight flight, double position);
  void settle();
  bool preview(const FrameLocation& location);
  void handlePreviewEnded(double frame, bool shown);
  void refine();
  void endPreview();
  double expectedDuration(const FrameLocation& location) const;

  Callbacks callbacks_;
  std::shared_ptr<MpvCore> core_;
  std::shared_ptr<MpvVideoOutput> output_;
  std::unique_ptr<FrameLocator> locator_;
  std::unique_ptr<PreviewDecoder> previews_;  // null where there are none
  bool previewing_ = false;
  std::optional<double> previewed_;  // the last target whose own picture the preview shows
  unsigned restTimer_ = 0;           // counts the targets, so that a timer knows whether its own is the latest
  bool resting_ = false;             // no newer target has come for a moment
  bool playing_ = false;
  std::optional<double> target_;
  std::optional<Located> located_;
  bool locating_ = false;
  std::optional<Flight> flight_;
  std::uint64_t lastReply_ = 0;

  std::optional<double> shownFrame_;     // the picture on screen, while known
  std::optional<double> shownKeyFrame_;  // the key frame of its group
  std::optional<Located> reached_;       // where the last settled seek went
  bool firstPictureDelayed_ = false;
  double secondsPerFrame_ = 0.003;  // decoding, measured as seeks go by
};
