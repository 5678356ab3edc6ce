#include "platform/backends/mpv/SeekCoordinator.h"

#include "platform/backends/mpv/decimal.h"

#include <algorithm>
#include <cmath>

namespace {

// Replies of seeks have this bit, so that they are told from others.
constexpr std::uint64_t seekReplies = std::uint64_t{1} << 32;
// What any seek takes, and how long one may take in all to be the first answer to a new target.
constexpr double seekOverhead = 0.010;
constexpr double quickEnough = 0.024;
// The core shows the first picture that begins no earlier than this before the target of an exact seek.
constexpr double coreTolerance = 0.005;
// Playing from within a picture that has been on screen for longer than this needs the picture delayed.
constexpr double longPicture = 0.05;
constexpr double sameTime = 1e-5;
// A hand that has not moved for so long rests.
constexpr double restDelay = 0.06;

bool same(const std::optional<double>& a, double b) {
  return a && std::abs(*a - b) < sameTime;
}

}  // namespace

SeekCoordinator::~SeekCoordinator() = default;

void SeekCoordinator::start(std::shared_ptr<MpvCore> core, std::shared_ptr<MpvVideoOutput> output,
                            std::unique_ptr<FrameLocator> locator) {
  core_ = std::move(core);
  output_ = std::move(output);
  locator_ = std::move(locator);
  if (locator_) {
    previews_ = std::make_unique<PreviewDecoder>(
        PreviewDecoder::Callbacks{[shown = output_](const PreviewDecoder::Draw& draw) { shown->showPreview(draw); },
                                  [weak = weak_from_this()](double frame, bool shown) {
                                    dispatch_async(dispatch_get_main_queue(), [weak, frame, shown] {
                                      if (const auto self = weak.lock()) {
                                        self->handlePreviewEnded(frame, shown);
                                      }
                                    });
                                  }});
  }
}

void SeekCoordinator::seek(double target) {
  target_ = target;
  reached_.reset();
  if (locator_) {
    locate();
  } else {
    advance();
  }
}

void SeekCoordinator::cancel() {
  target_.reset();
  flight_.reset();
  endPreview();
}

void SeekCoordinator::setPlaying(bool playing) {
  if (playing == playing_) {
    return;
  }
  playing_ = playing;
  if (!playing) {
    advance();
    return;
  }
  if (!target_ && reached_ && reached_->location && reached_->time - reached_->location->frame > longPicture) {
    target_ = reached_->time;  // shown by the picture's begin; played from the time itself
    located_ = reached_;
  }
  if (target_) {
    advance();
  } else {
    callbacks_.readyToPlay();
  }
}

void SeekCoordinator::locate(double time, FrameLocator::Completion completion) {
  if (locator_) {
    locator_->locate(time, std::move(completion));
  } else {
    completion(std::nullopt);
  }
}

void SeekCoordinator::locate() {
  if (locating_) {
    return;
  }
  locating_ = true;
  locator_->locate(*target_, [weak = weak_from_this(), time = *target_](std::optional<FrameLocation> location) {
    const auto self = weak.lock();
    if (!self) {
      return;
    }
    self->locating_ = false;
    self->located_ = Located{time, location};
    self->advance();
    if (self->target_ && self->located_->time != *self->target_) {
      self->locate();
    }
  });
}

void SeekCoordinator::advance() {
  if (!core_ || !target_) {
    return;
  }
  if (locator_ && (!located_ || located_->time != *target_)) {
    // A newer target's place is still being looked up; meanwhile its predecessor is better than nothing.
    if (located_ && located_->location && locating_ && !flight_ && !playing_ &&
        !same(shownKeyFrame_, located_->location->keyFrame) && !preview(*located_->location)) {
      seekToKeyFrame(located_->time, *located_->location);
    }
    return;
  }
  const auto location = located_ && locator_ ? located_->location : std::nullopt;
  if (playing_) {
    if (!flight_ || !flight_->toPlay || flight_->target != *target_) {
      seekExactly(*target_, location);
      callbacks_.readyToPlay();
    }
  } else if (location) {
    advancePaused(*location);
  } else if (!flight_) {
    seekExactly(*target_, location);
  }
}

void SeekCoordinator::advancePaused(const FrameLocation& location) {
  if (!flight_ && !previewing_ && same(shownFrame_, location.frame)) {
    settle();
    return;
  }
  if (preview(location)) {
    return;
  }
  const bool slow = expectedDuration(location) > quickEnough;
  if (flight_) {
    if (flight_->exact && flight_->location && same(flight_->location->frame, location.frame)) {
      flight_->target = *target_;
    } else if (flight_->slow && !same(flight_->location->keyFrame, location.keyFrame)) {
      if (slow) {
        seekToKeyFrame(*target_, location);
      } else {
        seekExactly(*target_, location);
      }
    }
    return;
  }
  if (slow && !same(shownKeyFrame_, location.keyFrame)) {
    seekToKeyFrame(*target_, location);
  } else {
    seekExactly(*target_, location);
  }
}

/// Hands the target to the preview decoder; false when there is none for it.
bool SeekCoordinator::preview(const FrameLocation& location) {
  if (!previews_ || !location.packets || (!previewing_ && !output_->beginPreview())) {
    endPreview();
    return false;
  }
  previewing_ = true;
  previews_->request(location);
  if (flight_ && flight_->slow && !same(flight_->location->frame, location.frame)) {
    seekToKeyFrame(*target_, location);  // ends the core's work on a picture that nobody wants any more
  }
  resting_ = false;
  dispatch_after(restDelay, dispatch_get_main_queue(), [weak = weak_from_this(), timer = ++restTimer_] {
    const auto self = weak.lock();
    if (self && self->restTimer_ == timer) {
      self->resting_ = true;
      self->refine();
    }
  });
  return true;
}

void SeekCoordinator::handlePreviewEnded(double frame, bool shown) {
  if (!shown) {
    previews_.reset();
    endPreview();
    advance();
    return;
  }
  previewed_ = frame;
  refine();
}

/// Follows the preview with the core, once its picture is there and no newer target is to be expected.
void SeekCoordinator::refine() {
  const bool located = target_ && located_ && located_->time == *target_ && located_->location;
  if (!previewing_ || playing_ || !resting_ || !located || !same(previewed_, located_->location->frame)) {
    return;
  }
  if (flight_ && flight_->exact && flight_->location && same(flight_->location->frame, located_->location->frame)) {
    flight_->target = *target_;
  } else if (!flight_ || flight_->slow) {
    seekExactly(*target_, located_->location);
  }
}

void SeekCoordinator::endPreview() {
  if (!previewing_) {
    return;
  }
  previewing_ = false;
  previewed_.reset();
  resting_ = false;
  ++restTimer_;
  if (previews_) {
    previews_->release();
  }
  output_->endPreview();
}

double SeekCoordinator::expectedDuration(const FrameLocation& location) const {
  return seekOverhead + secondsPerFrame_ * location.framesToDecode;
}

void SeekCoordinator::seekExactly(double target, const std::optional<FrameLocation>& location) {
  double position = target;
  if (location) {
    if (playing_ && target - location->frame > longPicture) {
      // The core would start with the next picture, and with its sound, however far away that is. So the picture that
      // is on screen at the target gets the target as its time.
      setFirstPictureDelay(location->frame, target);
    } else {
      clearFirstPictureDelay();
      position = location->frame + coreTolerance - std::min(location->margin, coreTolerance);
    }
  }
  const bool slow = location && expectedDuration(*location) > quickEnough;
  launch({++lastReply_ | seekReplies, true, playing_, slow, target, location, Clock::now()}, position);
}

void SeekCoordinator::seekToKeyFrame(double target, const FrameLocation& location) {
  clearFirstPictureDelay();
  launch({++lastReply_ | seekReplies, false, false, false, target, location, Clock::now()},
         std::max(0.0, location.keyFrame) + coreTolerance / 5);
}

void SeekCoordinator::launch(Flight flight, double position) {
  shownFrame_.reset();
  flight_ = flight;
  core_->command({"seek", decimal(position), flight.exact ? "absolute+exact" : "absolute+keyframes"}, flight.reply);
}

void SeekCoordinator::setFirstPictureDelay(double frame, double time) {
  // Pictures before the target must all be decoded, or the one that is meant could be left out.
  core_->setFlag("hr-seek-framedrop", false);
  core_->setProperty("vf", "lavfi=[setpts='if(between(T," + decimal(frame - coreTolerance / 10) + "," +
                               decimal(frame + coreTolerance / 10) + ")," + decimal(time) + "/TB,PTS)']");
  firstPictureDelayed_ = true;
}

void SeekCoordinator::clearFirstPictureDelay() {
  if (firstPictureDelayed_) {
    core_->setProperty("vf", std::string());
    core_->setFlag("hr-seek-framedrop", true);
    firstPictureDelayed_ = false;
  }
}

void SeekCoordinator::handleReply(std::uint64_t reply) {
  if (flight_ && flight_->reply == reply) {
    flight_->answered = true;
  }
}

void SeekCoordinator::handleSeekBegan() {
  if (flight_ && flight_->answered) {
    flight_->began = true;
  }
}

void SeekCoordinator::handlePictureShown() {
  if (!flight_ || !flight_->began) {
    return;
  }
  const Flight done = *flight_;
  flight_.reset();
  if (done.location) {
    shownKeyFrame_ = done.location->keyFrame;
    shownFrame_ = done.exact ? done.location->frame : done.location->keyFrame;
    if (done.exact && done.location->framesToDecode >= 10) {
      const double seconds = std::chrono::duration<double>(Clock::now() - done.start).count() - seekOverhead;
      const double measured = std::clamp(seconds / done.location->framesToDecode, 0.0001, 0.1);
      secondsPerFrame_ += (measured - secondsPerFrame_) / 4;
    }
  } else {
    shownKeyFrame_.reset();
  }
  if (target_ && done.exact && done.target == *target_ && (!playing_ || done.toPlay)) {
    located_ = Located{done.target, done.location};
    endPreview();
    settle();
  } else if (previewing_ && !playing_) {
    refine();
  } else {
    advance();
  }
}

void SeekCoordinator::settle() {
  reached_ = located_;
  target_.reset();
  callbacks_.settled();
}
