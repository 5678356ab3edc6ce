#pragma once

#include "platform/AVFoundation/AVPlayer.h"
#include "platform/backends/mpv/MpvCore.h"
#include "platform/backends/mpv/MpvVideoOutput.h"
#include "platform/backends/mpv/PlaybackClock.h"
#include "platform/backends/mpv/PlaybackEnd.h"
#include "platform/backends/mpv/PlayerEvents.h"
#include "platform/backends/mpv/SeekCoordinator.h"
#include "platform/backends/mpv/TimeObservers.h"

#include <chrono>
#include <memory>
#include <optional>

/// The player behind AVPlayer: opening, the clock, and what playing, pausing and seeking mean for its parts. Main queue
/// only.
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
  std::int32_t timeScale = 1000000000;

  bool playing = false;        // what was asked for
  bool playConfirmed = false;  // the core has taken up the latest wish to play
  bool coreIdle = true;
  std::chrono::steady_clock::time_point playedSince;  // the latest moment at which the core can have begun to play
  bool coreAtEnd = false;
  bool soundOpened = false;
  std::optional<double> held;  // the target of a seek, until playback moves on
  NSErrorPtr coreFailure;
  bool stoppedAtBoundary = false;
  bool atEnd = false;
  double passedUpTo = 0;  // boundaries up to here have been dealt with

  /// Of all players that are made from now on.
  static Configuration& configuration();

  explicit Impl(const Strong<AVPlayerItem>& item);
  ~Impl();
  /// Makes the parts that come back to this object, which a shared pointer must hold by now.
  void connect();
  void open();
  void attach(const std::shared_ptr<MpvCore>& newCore);
  void handleNews(const PlayerNews& news);
  void handleOpened(const MovieFacts& facts);
  void handleCoreFailure();
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
