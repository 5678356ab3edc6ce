#include "platform/AVFoundation/AVPlayer.h"

#include "platform/AVFoundation/AVAssetExportSession.h"
#include "platform/Foundation/NSNotificationCenter.h"
#include "platform/backends/mpv/MpvCore.h"
#include "platform/backends/mpv/MpvVideoOutput.h"
#include "platform/backends/mpv/PlaybackClock.h"
#include "platform/backends/mpv/PlaybackEnd.h"
#include "platform/backends/mpv/PlayerEvents.h"
#include "platform/backends/mpv/SeekCoordinator.h"
#include "platform/backends/mpv/TimeObservers.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

AVPlayer::Configuration& configuration() {
  static AVPlayer::Configuration value;
  return value;
}

constexpr std::int32_t nanoseconds = 1000000000;
constexpr std::int32_t finestUsefulScale = 1000;
// The core names the picture that is on screen after a pause; a time that is later by more lies within a long picture.
constexpr double nearPicture = 0.1;

constexpr std::uint64_t playReply = 1;

/// mpv reads some names as addresses or lists; a path never is one.
std::string plainPath(const NSURL& url) {
  return url.path().empty() || url.path().front() == '/' ? url.path() : "./" + url.path();
}

}  // namespace

struct AVPlayer::Impl : std::enable_shared_from_this<Impl> {
  Strong<AVPlayerItem> item;
  std::shared_ptr<MpvVideoOutput> mpvOutput;
  std::shared_ptr<AVVideoOutput> output;
  std::shared_ptr<MpvCore> core;
  std::shared_ptr<TimeObservers> observers;
  std::shared_ptr<SeekCoordinator> seeks;
  std::shared_ptr<PlaybackEnd> end;
  PlaybackClock clock;
  AVPlayerActionAtItemEnd actionAtItemEnd = AVPlayerActionAtItemEnd::Pause;

  // The way to "ready": both must have come.
  bool opened = false;
  bool probed = false;
  std::int32_t timeScale = nanoseconds;

  bool playing = false;        // what was asked for
  bool playConfirmed = false;  // the core has taken up the latest wish to play
  bool coreIdle = true;
  std::chrono::steady_clock::time_point playedSince;  // the latest moment at which the core can have begun to play
  bool coreAtEnd = false;
  bool soundOpened = false;
  std::optional<double> held;  // the target of a seek, until playback moves on
  bool stoppedAtBoundary = false;
  bool atEnd = false;
  double passedUpTo = 0;  // boundaries up to here have been dealt with

  ~Impl();
  void open();
  void attach(const std::shared_ptr<MpvCore>& newCore);
  void handleNews(const PlayerNews& news);
  void handleOpened(const MovieFacts& facts);
  void handleFailure(const NSErrorPtr& error);
  void becomeReady();
  void openSound();

  double position() const;
  CMTime currentTime() const;
  void play();
  void pause();
  void seek(double target);
  void startPlaying();
  void handSeek(double target);
  void updateClock();
  void updateBoundary();
  void finishAtBoundary();
  void finishMovie(double at);
};

AVPlayer::Impl::~Impl() {
  if (core) {
    core->command({"stop"});
  }
  mpvOutput->detach();
}

// Opening: the core is made and given the file in the background while the caller goes on.

void AVPlayer::Impl::open() {
  const auto weak = weak_from_this();
  const auto events = std::make_shared<PlayerEvents>(mpvOutput, [weak](const PlayerNews& news) {
    if (const auto self = weak.lock()) {
      self->handleNews(news);
    }
  });
  dispatch_async(
      dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_HIGH),
      [weak, events, videoOutput = mpvOutput, path = plainPath(item->asset()->URL()), settings = configuration()] {
        const auto newCore = MpvCore::take(settings);
        // First, so that the main queue knows the core before any news of it.
        dispatch_async(dispatch_get_main_queue(), [weak, newCore] {
          if (const auto self = weak.lock()) {
            self->attach(newCore);
          }
        });
        if (newCore) {
          events->listenTo(newCore);
          videoOutput->attach(newCore, [path](MpvCore& ready) { ready.command({"loadfile", path}); });
        }
      });
  item->asset()->loadValuesAsynchronously([weak] {
    dispatch_async(dispatch_get_main_queue(), [weak] {
      if (const auto self = weak.lock()) {
        self->probed = true;
        self->becomeReady();
      }
    });
  });
}

void AVPlayer::Impl::attach(const std::shared_ptr<MpvCore>& newCore) {
  core = newCore;
  if (!core) {
    handleFailure(std::make_shared<NSError>(AVFoundationErrorDomain, AVErrorUnknown,
                                            "The movie can't be played: the player could not be started."));
    return;
  }
  becomeReady();
}

void AVPlayer::Impl::handleOpened(const MovieFacts& facts) {
  opened = true;
  std::unique_ptr<FrameLocator> locator;
  if (facts.videoStream >= 0) {
    locator = std::make_unique<FrameLocator>(item->asset()->readablePath(), facts.videoStream, facts.startTime);
  }
  seeks->start(core, mpvOutput, std::move(locator));
  end->start(core);
  if (held) {
    handSeek(*held);
  }
  if (playing) {
    startPlaying();
  }
  becomeReady();
}

void AVPlayer::Impl::becomeReady() {
  if (!core || !opened || !probed || item->status_ != AVPlayerItemStatus::Unknown) {
    return;
  }
  if (const auto error = item->asset()->error()) {
    handleFailure(error);
    return;
  }
  const auto tracks = item->asset()->tracksWithMediaType(AVMediaTypeVideo);
  if (!tracks.empty() && tracks.front()->naturalTimeScale >= finestUsefulScale) {
    timeScale = tracks.front()->naturalTimeScale;
  }
  item->duration_ = item->asset()->duration();
  end->setDuration(CMTimeGetSeconds(item->duration_));
  item->status_ = AVPlayerItemStatus::ReadyToPlay;
  item->didChangeValueForKey("status");
}

void AVPlayer::Impl::handleFailure(const NSErrorPtr& error) {
  if (item->status_ == AVPlayerItemStatus::Failed) {
    return;
  }
  playing = false;
  clock.setRunning(false);
  observers->setRunning(false);
  item->error_ = error;
  item->status_ = AVPlayerItemStatus::Failed;
  item->didChangeValueForKey("status");
}

void AVPlayer::Impl::openSound() {
  if (soundOpened || !configuration().audio) {
    return;
  }
  soundOpened = true;
  core->setProperty("ao", "pipewire,pulse,alsa");
  core->command({"ao-reload"});
}

// News from the core.

void AVPlayer::Impl::handleNews(const PlayerNews& news) {
  const auto keepAlive = shared_from_this();
  if (news.failure) {
    // The asset's own words are better, where it has any.
    const auto probe = probed ? item->asset()->error() : nullptr;
    handleFailure(probe ? probe
                        : std::make_shared<NSError>(AVFoundationErrorDomain, AVErrorFileFormatNotRecognized,
                                                    "The movie can't be played: " + *news.failure + "."));
    return;
  }
  if (news.opened) {
    handleOpened(*news.opened);
  }
  if (news.idle) {
    coreIdle = *news.idle;
    playedSince = std::max(playedSince, news.idleKnown);
  }
  if (news.atEnd) {
    coreAtEnd = *news.atEnd;
  }
  for (const PlayerStep& step : news.steps) {
    switch (step.kind) {
      case PlayerStep::Kind::Reply:
        if (step.reply == playReply) {
          playConfirmed = true;
        } else {
          seeks->handleReply(step.reply);
        }
        break;
      case PlayerStep::Kind::SeekBegan:
        seeks->handleSeekBegan();
        break;
      case PlayerStep::Kind::PictureShown:
        playedSince = std::max(playedSince, step.when);
        openSound();
        seeks->handlePictureShown();
        break;
    }
  }
  updateClock();
  if (news.time && !held) {
    if (clock.isRunning()) {
      clock.report(*news.time, news.timeKnown);
    } else if (!playing && !stoppedAtBoundary && !atEnd && *news.time > clock.now() - nearPicture) {
      clock.jumpTo(*news.time);
    }
  }
  if (playing && playConfirmed && coreAtEnd && !seeks->isSeeking()) {
    end->handleCoreEnded();
  }
}

void AVPlayer::Impl::updateClock() {
  const bool running = playing && !coreIdle && !seeks->isSeeking();
  mpvOutput->setCounting(running);
  if (running) {
    held.reset();  // the clock stands at it
    seeks->pictureMoved();
  }
  if (!end->isWaiting()) {
    clock.setRunning(running, playedSince);
  }
}

// Time.

double AVPlayer::Impl::position() const {
  const double time = held ? *held : clock.now();
  const double last = end->boundary() && playing ? *end->boundary() : end->duration();
  return std::isnan(last) ? time : std::min(time, std::max(last, 0.0));
}

CMTime AVPlayer::Impl::currentTime() const {
  return CMTimeMakeWithSeconds(position(), timeScale);
}

void AVPlayer::Impl::seek(double target) {
  if (!std::isfinite(target)) {
    return;
  }
  target = std::max(target, 0.0);
  if (!std::isnan(end->duration())) {
    target = std::min(target, end->duration());
  }
  const bool pristine = !held && !playing && !stoppedAtBoundary && !atEnd && clock.now() == 0;
  if (pristine && target == 0) {
    return;
  }
  handSeek(target);
  observers->jumped();
}

void AVPlayer::Impl::handSeek(double target) {
  end->cancel();
  held = target;
  stoppedAtBoundary = false;
  atEnd = false;
  passedUpTo = target;
  clock.setRunning(false);
  clock.jumpTo(target);
  if (!opened) {
    return;
  }
  updateBoundary();
  playConfirmed = false;
  seeks->seek(target);
}

// Playing.

void AVPlayer::Impl::play() {
  if (playing || item->status_ == AVPlayerItemStatus::Failed) {
    return;
  }
  playing = true;
  observers->setRunning(true);
  if (opened) {
    startPlaying();
  }
}

void AVPlayer::Impl::startPlaying() {
  playConfirmed = false;
  if (atEnd) {
    dispatch_async(dispatch_get_main_queue(), [weak = weak_from_this()] {
      if (const auto self = weak.lock(); self && self->playing && self->atEnd) {
        self->finishMovie(self->position());
      }
    });
    return;
  }
  passedUpTo = position();
  updateBoundary();
  if (stoppedAtBoundary) {
    handSeek(position());
  }
  seeks->setPlaying(true);
}

void AVPlayer::Impl::pause() {
  if (!playing) {
    return;
  }
  const double now = position();
  playing = false;
  end->cancel();
  if (opened) {
    core->setProperty("pause", true);
    seeks->setPlaying(false);
  }
  clock.setRunning(false);
  if (!held) {
    clock.jumpTo(now);
  }
  updateBoundary();
  observers->setRunning(false);
}

void AVPlayer::Impl::updateBoundary() {
  if (opened) {
    end->setBoundary(playing ? observers->nextBoundary(passedUpTo) : std::nullopt);
  }
}

// The end of playback.

void AVPlayer::Impl::finishAtBoundary() {
  const double from = passedUpTo;
  const double boundary = *end->boundary();
  clock.setRunning(false);
  clock.jumpTo(boundary);
  held.reset();
  seeks->pictureMoved();
  stoppedAtBoundary = true;
  passedUpTo = boundary;
  observers->passed(from, boundary);
  if (playing && stoppedAtBoundary) {
    // Nobody paused: go on from there.
    handSeek(boundary);
  }
}

void AVPlayer::Impl::finishMovie(double at) {
  const double from = passedUpTo;
  clock.setRunning(false);
  clock.jumpTo(at);
  passedUpTo = std::max(from, at);
  held.reset();
  seeks->pictureMoved();
  atEnd = true;
  observers->passed(from, passedUpTo);
  if (!atEnd) {
    return;  // somebody sought away
  }
  if (actionAtItemEnd != AVPlayerActionAtItemEnd::None) {
    pause();
  }
  NSNotificationCenter::defaultCenter().postNotificationName_object(AVPlayerItemDidPlayToEndTimeNotification, item);
}

// The class itself.

AVPlayer::AVPlayer() = default;
AVPlayer::~AVPlayer() = default;

Strong<AVPlayer> AVPlayer::initWithPlayerItem(const Strong<AVPlayerItem>& item) {
  auto player = std::make_shared<AVPlayer>();
  const auto impl = player->impl_ = std::make_shared<Impl>();
  impl->item = item;
  impl->mpvOutput = std::make_shared<MpvVideoOutput>(configuration().openGL);
  impl->output = impl->mpvOutput;
  const std::weak_ptr<Impl> weak = impl;
  impl->observers =
      std::make_shared<TimeObservers>(TimeObservers::Source{[weak] {
                                                              const auto self = weak.lock();
                                                              return self ? self->currentTime() : kCMTimeInvalid;
                                                            },
                                                            [weak] {
                                                              if (const auto self = weak.lock()) {
                                                                self->updateBoundary();
                                                              }
                                                            }});
  impl->seeks = std::make_shared<SeekCoordinator>(SeekCoordinator::Callbacks{[] {},
                                                                             [weak] {
                                                                               if (const auto self = weak.lock()) {
                                                                                 self->playConfirmed = false;
                                                                                 self->core->setProperty("pause", false,
                                                                                                         playReply);
                                                                               }
                                                                             }});
  impl->end =
      std::make_shared<PlaybackEnd>(PlaybackEnd::Source{[weak] {
                                                          const auto self = weak.lock();
                                                          return self ? self->position() : 0;
                                                        },
                                                        [weak](double time, FrameLocator::Completion completion) {
                                                          if (const auto self = weak.lock()) {
                                                            self->seeks->locate(time, std::move(completion));
                                                          }
                                                        }},
                                    PlaybackEnd::Callbacks{[weak] {
                                                             if (const auto self = weak.lock()) {
                                                               self->held.reset();
                                                               self->clock.setRunning(true);
                                                             }
                                                           },
                                                           [weak] {
                                                             if (const auto self = weak.lock()) {
                                                               self->finishAtBoundary();
                                                             }
                                                           },
                                                           [weak](double at) {
                                                             if (const auto self = weak.lock()) {
                                                               self->finishMovie(at);
                                                             }
                                                           }});
  item->clock_ = [weak] {
    const auto self = weak.lock();
    return self ? self->currentTime() : kCMTimeInvalid;
  };
  impl->open();
  return player;
}

const Strong<AVPlayerItem>& AVPlayer::currentItem() const {
  return impl_->item;
}

CMTime AVPlayer::currentTime() const {
  return impl_->currentTime();
}

void AVPlayer::play() {
  impl_->play();
}

void AVPlayer::pause() {
  impl_->pause();
}

float AVPlayer::rate() const {
  return impl_->playing ? 1.0F : 0.0F;
}

void AVPlayer::seekToTime(CMTime time) {
  if (time.isValid()) {
    impl_->seek(CMTimeGetSeconds(time));
  }
}

bool AVPlayer::isSeeking() const {
  return impl_->seeks->isSeeking();
}

void AVPlayer::setActionAtItemEnd(AVPlayerActionAtItemEnd action) {
  impl_->actionAtItemEnd = action;
}

Strong<NSObject> AVPlayer::addPeriodicTimeObserverForInterval_queue_usingBlock(CMTime interval,
                                                                               const dispatch_queue_t& queue,
                                                                               std::function<void(CMTime)> block) {
  return impl_->observers->addPeriodic(interval, queue, std::move(block));
}

Strong<NSObject> AVPlayer::addBoundaryTimeObserverForTimes_queue_usingBlock(std::vector<CMTime> times,
                                                                            const dispatch_queue_t& queue,
                                                                            std::function<void()> block) {
  return impl_->observers->addBoundary(std::move(times), queue, std::move(block));
}

void AVPlayer::removeTimeObserver(const Strong<NSObject>& token) {
  impl_->observers->remove(token.get());
}

const std::shared_ptr<AVVideoOutput>& AVPlayer::videoOutput() const {
  return impl_->output;
}

long AVPlayer::droppedFrameCount() const {
  // Left out by the decoder, by the core as too late or not taken off its hands, by whoever shows them.
  const long ofOutput = impl_->mpvOutput->untakenFrameCount();
  return impl_->core ? impl_->core->getLong("frame-drop-count", 0) +
                           impl_->core->getLong("decoder-frame-drop-count", 0) + ofOutput
                     : ofOutput;
}

void AVPlayer::setConfiguration(Configuration newConfiguration) {
  configuration() = newConfiguration;
}

void AVPlayer::prewarm() {
  MpvCore::prewarm(configuration());
}
