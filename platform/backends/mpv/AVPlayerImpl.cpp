#include "platform/backends/mpv/AVPlayerImpl.h"

#include "platform/AVFoundation/AVError.h"
#include "platform/Foundation/NSNotificationCenter.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

constexpr std::int32_t finestUsefulScale = 1000;
// The core names the picture that is on screen after a pause; a time that is later by more lies within a long picture.
constexpr double nearPicture = 0.1;

constexpr std::uint64_t playReply = 1;

/// mpv reads some names as addresses or lists; a path never is one.
std::string plainPath(const NSURL& url) {
  return url.path().empty() || url.path().front() == '/' ? url.path() : "./" + url.path();
}

}  // namespace

AVPlayer::Configuration& AVPlayer::Impl::configuration() {
  static Configuration value;
  return value;
}

AVPlayer::Impl::Impl(const Strong<AVPlayerItem>& newItem)
    : item(newItem), mpvOutput(std::make_shared<MpvVideoOutput>(configuration().openGL)), output(mpvOutput) {}

AVPlayer::Impl::~Impl() {
  if (core) {
    core->command({"stop"});
  }
  mpvOutput->detach();
}

void AVPlayer::Impl::connect() {
  const auto weak = weak_from_this();
  const auto whileAlive = [weak](auto action) {
    return [weak, action](auto&&... arguments) {
      if (const auto self = weak.lock()) {
        action(*self, std::forward<decltype(arguments)>(arguments)...);
      }
    };
  };
  const auto now = [weak] {
    const auto self = weak.lock();
    return self ? self->currentTime() : kCMTimeInvalid;
  };
  item->clock_ = now;
  observers = std::make_shared<TimeObservers>(
      TimeObservers::Source{now, whileAlive([](Impl& self) { self.updateBoundary(); })});
  seeks = std::make_shared<SeekCoordinator>(SeekCoordinator::Callbacks{[] {}, whileAlive([](Impl& self) {
                                                                         self.playConfirmed = false;
                                                                         self.core->setFlag("pause", false, playReply);
                                                                       })});
  PlaybackEnd::Source source;
  source.position = [weak] {
    const auto self = weak.lock();
    return self ? self->position() : 0;
  };
  source.locate = whileAlive([](Impl& self, double time, FrameLocator::Completion completion) {
    self.seeks->locate(time, std::move(completion));
  });
  PlaybackEnd::Callbacks callbacks;
  callbacks.pictureStays = whileAlive([](Impl& self) {
    self.held.reset();
    self.clock.setRunning(true);
  });
  callbacks.atBoundary = whileAlive([](Impl& self) { self.finishAtBoundary(); });
  callbacks.atMovie = whileAlive([](Impl& self, double at) { self.finishMovie(at); });
  end = std::make_shared<PlaybackEnd>(std::move(source), std::move(callbacks));
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
        self->coreFailure ? self->handleCoreFailure() : self->becomeReady();
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

void AVPlayer::Impl::handleCoreFailure() {
  if (!probed) {
    return;  // the asset's own words are better, and it is being read
  }
  const auto probe = item->asset()->error();
  handleFailure(probe ? probe : coreFailure);
}

void AVPlayer::Impl::handleFailure(const NSErrorPtr& error) {
  if (item->status_ == AVPlayerItemStatus::Failed) {
    return;
  }
  playing = false;
  end->cancel();
  seeks->cancel();
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
    coreFailure = std::make_shared<NSError>(AVFoundationErrorDomain, AVErrorFileFormatNotRecognized,
                                            "The movie can't be played: " + *news.failure + ".");
    handleCoreFailure();
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
  if (!std::isfinite(target) || item->status_ == AVPlayerItemStatus::Failed) {
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
    core->setFlag("pause", true);
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
